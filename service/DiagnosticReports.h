#pragma once

#include <deque>
#include <string>

#include "service/Http.h"

namespace quorvex::service {

/// Takes the hosts' diagnostic reports and keeps the last ones. Used on the service's thread.
class DiagnosticReports {
 public:
  struct Report {
    std::string traceId;
    std::string connectionError;
    std::string note;
  };

  static constexpr std::size_t kKept = 32;

  /// POST api/diagnostic-report.
  void take(const HttpRequest& request, const Respond& respond);

  /// The oldest first.
  [[nodiscard]] const std::deque<Report>& last() const { return reports; }

 private:
  std::deque<Report> reports;
};

}  // namespace quorvex::service
