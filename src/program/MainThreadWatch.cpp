#include "program/MainThreadWatch.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>

namespace quorvex {
namespace {

constexpr std::chrono::milliseconds kPause{10};

double milliseconds() {
  return std::chrono::duration<double, std::milli>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

/// How long `thread` has stood ready to run without a core, in milliseconds since it began; 0 where
/// the kernel does not count that.
double waitedForCore(int thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/schedstat");
  double onCore = 0, waiting = 0;
  file >> onCore >> waiting;
  return waiting / 1e6;
}

}  // namespace

MainThreadWatch::MainThreadWatch(DispatchQueue& queue)
    : mainQueue(queue), thread([this, mainThread = ::gettid()](const std::stop_token& stop) {
        measure(stop, mainThread);
      }) {}

MainThreadWatch::~MainThreadWatch() = default;

void MainThreadWatch::measure(const std::stop_token& stop, int mainThread) {
  pthread_setname_np(pthread_self(), "qxc-watch");
  while (!stop.stop_requested()) {
    const auto beat = std::make_shared<Beat>();
    // In this order: whatever holds this thread up here must not count as the main thread's.
    const double waitedBefore = waitedForCore(mainThread), sent = milliseconds();
    mainQueue.async([beat, mainThread] {
      const double ran = milliseconds(), waited = waitedForCore(mainThread);
      std::lock_guard hold(beat->mutex);
      beat->ranAt = ran;
      beat->waitedForCore = waited;
      beat->done = true;
      beat->arrived.notify_one();
    });
    std::unique_lock hold(beat->mutex);
    if (!beat->arrived.wait(hold, stop, [&] { return beat->done; })) return;
    const double late = beat->ranAt - sent - (beat->waitedForCore - waitedBefore);
    longest = std::max(longest.load(), late);
    hold.unlock();
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace quorvex
