#pragma once

#include <QProcess>
#include <string>
#include <variant>

#include "support/ServiceEndpoints.h"

namespace quorvex {

/// The local service as a child process of this one, on a free port; it ends with it.
class DemoService {
 public:
  DemoService() = default;
  ~DemoService();
  DemoService(const DemoService&) = delete;
  DemoService& operator=(const DemoService&) = delete;

  /// Starts the program and waits until it listens, 10 s at most. The text says what is wrong and
  /// how to mend it. Needs no running event loop.
  [[nodiscard]] std::variant<ServiceEndpoints, std::string> start(const std::string& program);

 private:
  QProcess process;
};

}  // namespace quorvex
