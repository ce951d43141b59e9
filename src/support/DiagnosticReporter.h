#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/HttpClient.h"

namespace quorvex {

/// Tells the service what the host could not mend by itself, in a short record that carries this
/// run's trace id. Sent and forgotten: nobody waits for it and no failure is shown. Thread-safe.
class DiagnosticReporter {
 public:
  /// `apiBase` as in ServiceEndpoints.
  DiagnosticReporter(HttpClient& http, const Clock& clock, std::string apiBase);

  /// Returns at once. A second report of one `kind` within 60 s is dropped.
  void sendDiagnosticReport(const std::string& kind, const std::string& connectionError,
                            const std::optional<std::string>& note = std::nullopt);

 private:
  [[nodiscard]] bool isDue(const std::string& kind);

  HttpClient& http;
  const Clock& clock;
  const std::string url;
  const std::string traceId;
  std::mutex mutex;
  std::map<std::string, double> lastSent;  ///< by kind, on the clock; protected by mutex
};

/// Names one run of the application: four characters, a hyphen, four characters, drawn from the
/// system's secure source, none of them easily taken for another.
[[nodiscard]] std::string makeTraceId();

}  // namespace quorvex
