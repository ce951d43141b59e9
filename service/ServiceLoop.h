#pragma once

#include <memory>

#include "platform/DispatchQueue.h"

namespace boost::asio {
class io_context;
}

namespace quorvex::service {

/// The service's one thread: whoever calls `run` becomes it, and all the service's state is used
/// there. It outlives all that queues on it.
class ServiceLoop {
 public:
  ServiceLoop();
  ~ServiceLoop();

  /// Runs what is queued until `stop`.
  void run();
  /// Any thread. What is still queued is dropped with the loop.
  void stop();

  /// Any thread: queues `task` behind what is queued already.
  void async(Task task);
  /// Runs `task` once after `delay` unless the timer is destroyed before. The service's thread.
  [[nodiscard]] std::unique_ptr<Timer> after(Seconds delay, Task task);

  [[nodiscard]] boost::asio::io_context& context() { return *io; }

 private:
  std::unique_ptr<boost::asio::io_context> io;
};

}  // namespace quorvex::service
