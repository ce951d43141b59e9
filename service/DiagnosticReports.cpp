#include "service/DiagnosticReports.h"

#include "service/Authorization.h"
#include "service/JsonMembers.h"

namespace quorvex::service {
namespace {

constexpr std::size_t kLongestText = 4096;

std::string boundedText(const JsonMembers& body, const char* name) {
  const std::string& text = body.textOfSome(name);
  if (text.size() > kLongestText)
    throw Refusal{400, "member \"" + std::string(name) + "\" must be at most 4096 bytes long"};
  return text;
}

}  // namespace

void DiagnosticReports::take(const HttpRequest& request, const Respond& respond) {
  requireJson(request);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"traceId", "connectionError", "note"});
  reports.push_back({.traceId = boundedText(body, "traceId"),
                     .connectionError = boundedText(body, "connectionError"),
                     .note = boundedText(body, "note")});
  if (reports.size() > kKept) reports.pop_front();
  respond({.status = 204, .body = {}, .headers = {}});
}

}  // namespace quorvex::service
