#include "signaling/OfferReply.h"

#include <charconv>
#include <cmath>

#include "log/HostLog.h"
#include "support/Json.h"

namespace quorvex {
namespace {

/// The whole text as a number of seconds, spaces and tabs around it aside; none for anything else.
std::optional<double> seconds(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(" \t") - first + 1);
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || std::isnan(value))
    return std::nullopt;
  return value;
}

std::string rendered(const Json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end()) return "nil";
  if (member->is_string()) return member->get<std::string>();
  return encoded(*member).value_or("nil");
}

OfferResult accepted(const std::optional<Json>& reply) {
  if (!reply) return offer::Failure{"offer 200 without sdp"};
  if (textMember(*reply, "status") == "queued")
    return offer::Queued{integerMember(*reply, "queue_position")};
  auto sdp = textMember(*reply, "sdp");
  if (!sdp) return offer::Failure{"offer 200 without sdp"};
  hostLog("signaling: got answer (face_swap_ready=" + rendered(*reply, "face_swap_ready") + ")");
  return offer::Answer{std::move(*sdp)};
}

OfferResult busy(const HttpResult& reply) {
  const std::string* header = reply.header("retry-after");
  hostLog("signaling: offer 503 backend busy (retry-after " + (header ? *header : "?") + ")");
  return offer::Busy{header ? seconds(*header) : std::nullopt};
}

}  // namespace

OfferResult classifyOfferReply(const HttpResult& reply) {
  if (reply.error) return offer::Failure{*reply.error};
  if (reply.status == 0 || !reply.body) return offer::Failure{"offer: no response"};
  switch (reply.status) {
    case 200:
      return accepted(parseObject(*reply.body));
    case 401:
      return offer::Failure{"401 token expired"};
    case 503:
      return busy(reply);
    default:
      return offer::Failure{"offer " + std::to_string(reply.status) + ": " +
                            decodedUtf8(*reply.body).value_or("")};
  }
}

}  // namespace quorvex
