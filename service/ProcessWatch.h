#pragma once

#include <functional>
#include <memory>

#include "service/ServiceLoop.h"

namespace quorvex::service {

/// Tells, on the service's thread, when the process is to end: at SIGTERM or SIGINT, and, where
/// asked for, when standard input ends or the parent process dies.
class ProcessWatch {
 public:
  ProcessWatch(ServiceLoop& loop, bool withParent, std::function<void()> end);
  ~ProcessWatch();

 private:
  struct Watches;
  std::shared_ptr<Watches> watches;
};

}  // namespace quorvex::service
