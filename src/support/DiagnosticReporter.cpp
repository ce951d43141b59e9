#include "support/DiagnosticReporter.h"

#include <random>
#include <string_view>

#include "support/Json.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {
namespace {

constexpr double kLeastSpacing = 60;
constexpr Seconds kTimeout{5};
constexpr std::string_view kAlphabet = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
constexpr int kTraceIdGroup = 4;

}  // namespace

std::string makeTraceId() {
  std::random_device source;
  std::uniform_int_distribution<std::size_t> place(0, kAlphabet.size() - 1);
  std::string id;
  for (int i = 0; i < 2 * kTraceIdGroup; ++i) {
    if (i == kTraceIdGroup) id += '-';
    id += kAlphabet[place(source)];
  }
  return id;
}

DiagnosticReporter::DiagnosticReporter(HttpClient& client, const Clock& time, std::string apiBase)
    : http(client),
      clock(time),
      url(appendingPathComponent(apiBase, "api/diagnostic-report")),
      traceId(makeTraceId()) {}

bool DiagnosticReporter::isDue(const std::string& kind) {
  const double now = clock.now();
  std::lock_guard hold(mutex);
  const auto before = lastSent.find(kind);
  if (before != lastSent.end() && now - before->second < kLeastSpacing) return false;
  lastSent[kind] = now;
  return true;
}

void DiagnosticReporter::sendDiagnosticReport(const std::string& kind,
                                              const std::string& connectionError,
                                              const std::optional<std::string>& note) {
  if (!isDue(kind)) return;
  HttpRequest request;
  request.method = "POST";
  request.url = url;
  request.headers = {{"Content-Type", "application/json"}};
  request.timeout = kTimeout;
  request.body = encoded(
      Json{{"traceId", traceId},
           {"connectionError", connectionError},
           {"note", "macOS desktop (quorvex-camera)" + (note ? " — " + *note : std::string())}});
  http.send(std::move(request), [](const HttpResult&) {});
}

}  // namespace quorvex
