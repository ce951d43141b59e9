#pragma once

#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "service/Service.h"

namespace quorvex::service::test {

/// The service on a thread of its own, from construction to destruction.
class RunningService {
 public:
  explicit RunningService(const Options& options = {}) {
    std::promise<std::uint16_t> listening;
    auto listens = listening.get_future();
    thread = std::thread([this, options, &listening] {
      Service service(loop, options);
      if (const auto error = service.listen()) throw std::runtime_error(*error);
      listening.set_value(service.port());
      loop.run();
    });
    port = listens.get();
  }
  ~RunningService() {
    loop.stop();
    thread.join();
  }

  std::uint16_t port = 0;

 private:
  ServiceLoop loop;
  std::thread thread;
};

}  // namespace quorvex::service::test
