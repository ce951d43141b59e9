#include "service/Faults.h"

#include <algorithm>
#include <cctype>

namespace quorvex::service {
namespace {

using nlohmann::json;

constexpr int kMost = 1'000'000;
constexpr double kLongestDelay = 3600;
constexpr const char* kSigns = "!#$%&'*+-.^_`|~";

bool isHeaderName(const std::string& name) {
  return !name.empty() && name.size() <= 256 && std::ranges::all_of(name, [](unsigned char c) {
    return std::isalnum(c) || std::string_view(kSigns).find(c) != std::string_view::npos;
  });
}

bool isHeaderValue(const std::string& value) {
  return value.size() <= 8192 && std::ranges::none_of(value, [](unsigned char c) {
           return (c < ' ' && c != '\t') || c == 127;
         });
}

HttpReply replyOf(const JsonMembers& given) {
  HttpReply reply;
  if (given.has("status")) reply.status = given.integer("status", 200, 599);
  reply.text = given.has("body") ? given.text("body") : "";
  if ((reply.status == 204 || reply.status == 304) && !reply.text->empty())
    given.refuse("body", "empty, for a reply of this status has none");
  if (!given.has("headers")) return reply;
  const auto headers = given.members("headers");
  for (const auto& name : headers.names()) {
    if (!isHeaderName(name)) given.refuse("headers", "an object by names of headers");
    reply.headers[name] = headers.text(name.c_str());
    if (!isHeaderValue(reply.headers[name]))
      headers.refuse(name, "a text that fits on the line of a header");
  }
  return reply;
}

FaultyReply faultyReplyOf(const JsonMembers& given) {
  given.allowOnly({"status", "headers", "body", "delay", "hang", "times"});
  FaultyReply fault;
  if (given.has("status") || given.has("headers") || given.has("body"))
    fault.reply = replyOf(given);
  if (given.has("delay")) fault.delay = Seconds(given.number("delay", 0, kLongestDelay));
  if (given.has("hang")) fault.isWithheld = given.flag("hang");
  if (given.has("times")) fault.times = given.integer("times", 1, kMost);
  return fault;
}

void takeReplies(const JsonMembers& given, std::map<std::string, FaultyReply>& replies) {
  given.allowOnly({"session-token", "turn-credentials", "offer", "ice-candidate",
                   "diagnostic-report", "status", "token", "refresh"});
  for (const auto& endpoint : given.names()) {
    if (given.isNull(endpoint.c_str()))
      replies.erase(endpoint);
    else
      replies[endpoint] = faultyReplyOf(given.members(endpoint.c_str()));
  }
}

json documentOf(const FaultyReply& fault) {
  json document = json::object();
  if (fault.reply) {
    document["status"] = fault.reply->status;
    document["headers"] = fault.reply->headers;
    document["body"] = fault.reply->text.value_or("");
  }
  if (fault.delay > Seconds(0)) document["delay"] = fault.delay.count();
  if (fault.isWithheld) document["hang"] = true;
  if (fault.times) document["times"] = *fault.times;
  return document;
}

}  // namespace

void Faults::take(const JsonMembers& given) {
  given.allowOnly(
      {"replies", "places", "ahead", "admit", "answer", "media", "identity", "access_seconds"});
  Faults next = *this;
  // Whether `name` has the first of its two words; what stands where it is not given.
  const auto isFirst = [&](const char* name, const char* first, const char* second, bool stands) {
    return given.has(name) ? given.oneOf(name, first, second) == first : stands;
  };
  if (given.has("replies")) takeReplies(given.members("replies"), next.replies);
  if (given.has("places"))
    next.places =
        given.isNull("places") ? std::nullopt : std::optional(given.integer("places", 0, kMost));
  if (given.has("ahead")) next.ahead = given.integer("ahead", 0, kMost);
  next.admitsByControl = isFirst("admit", "start_connection", "not_queued", admitsByControl);
  next.answersWell = isFirst("answer", "well", "unusable", answersWell);
  next.mediaFlows = isFirst("media", "flowing", "stopped", mediaFlows);
  if (given.has("identity")) next.identifies = given.flag("identity");
  if (given.has("access_seconds"))
    next.accessSeconds = given.isNull("access_seconds")
                             ? std::nullopt
                             : std::optional(given.integer("access_seconds", 0, kMost));
  *this = std::move(next);
}

json Faults::document() const {
  json byEndpoint = json::object();
  for (const auto& [endpoint, fault] : replies) byEndpoint[endpoint] = documentOf(fault);
  return {{"replies", std::move(byEndpoint)},
          {"places", places ? json(*places) : json()},
          {"ahead", ahead},
          {"admit", admitsByControl ? "start_connection" : "not_queued"},
          {"answer", answersWell ? "well" : "unusable"},
          {"media", mediaFlows ? "flowing" : "stopped"},
          {"identity", identifies},
          {"access_seconds", accessSeconds ? json(*accessSeconds) : json()}};
}

FaultyReply Faults::nextReply(const std::string& endpoint) {
  const auto found = replies.find(endpoint);
  if (found == replies.end()) return {};
  FaultyReply fault = found->second;
  if (auto& times = found->second.times; times && --*times == 0) replies.erase(found);
  return fault;
}

}  // namespace quorvex::service
