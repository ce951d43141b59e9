#include "linux/cameras/CameraThread.h"

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace quorvex {

std::int64_t monotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

bool waitUntil(const std::stop_token& stop, std::int64_t deadline) {
  // The steady clock is CLOCK_MONOTONIC, and the wait is the kernel's absolute one.
  using std::chrono::steady_clock;
  std::mutex mutex;
  std::condition_variable_any nobodyNotifies;
  std::unique_lock lock(mutex);
  nobodyNotifies.wait_until(lock, stop,
                            steady_clock::time_point(std::chrono::nanoseconds(deadline)),
                            [] { return false; });
  return !stop.stop_requested();
}

void CameraThread::start(const char* name, Body body) {
  stop();
  thread = std::jthread([name, body = std::move(body)](const std::stop_token& stopRequest) {
    pthread_setname_np(pthread_self(), name);
    body(stopRequest);
  });
}

FramePacer::FramePacer(double framesPerSecond)
    : period(1e9 / framesPerSecond), start(monotonicNow()) {}

bool FramePacer::nextTick(const std::stop_token& stop) {
  if (ticks > 0) {
    const auto passed = static_cast<std::int64_t>((monotonicNow() - start) / period);
    ticks = std::max(ticks, passed + 1);
  }
  return waitUntil(stop, start + std::llround(static_cast<double>(ticks++) * period));
}

}  // namespace quorvex
