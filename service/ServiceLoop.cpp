#include "service/ServiceLoop.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <utility>  // missing from the next header in Boost 1.74

namespace quorvex::service {
namespace {

namespace asio = boost::asio;

class LoopTimer : public Timer {
 public:
  LoopTimer(asio::io_context& io, Seconds delay, Task task)
      : timer(io, std::chrono::duration_cast<std::chrono::steady_clock::duration>(delay)),
        owned(std::make_shared<Task>(std::move(task))) {
    // A wait that has run out can no longer be cancelled, hence the weak hold besides.
    timer.async_wait([weak = std::weak_ptr(owned)](boost::system::error_code error) {
      if (const auto kept = weak.lock(); kept && !error) (*kept)();
    });
  }

 private:
  asio::steady_timer timer;
  std::shared_ptr<Task> owned;
};

}  // namespace

ServiceLoop::ServiceLoop() : io(std::make_unique<asio::io_context>(1)) {}
ServiceLoop::~ServiceLoop() = default;

void ServiceLoop::run() {
  const auto guard = asio::make_work_guard(*io);
  io->run();
}

void ServiceLoop::stop() {
  io->stop();
}

void ServiceLoop::async(Task task) {
  asio::post(*io, [task = std::move(task)]() mutable { task(); });
}

std::unique_ptr<Timer> ServiceLoop::after(Seconds delay, Task task) {
  return std::make_unique<LoopTimer>(*io, delay, std::move(task));
}

}  // namespace quorvex::service
