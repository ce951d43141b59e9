#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <thread>

namespace quorvex {

/// CLOCK_MONOTONIC, in nanoseconds. Thread-safe.
[[nodiscard]] std::int64_t monotonicNow();

/// Sleeps until `deadline` (monotonic, nanoseconds), or less when a stop is requested meanwhile.
/// Returns whether to go on. Thread-safe.
[[nodiscard]] bool waitUntil(const std::stop_token& stop, std::int64_t deadline);

/// The thread of a camera that is running. Its operations belong to one thread at a time.
class CameraThread {
 public:
  using Body = std::function<void(std::stop_token)>;

  /// Ends what ran before, then runs `body` on a thread called `name` (at most 15 characters).
  void start(const char* name, Body body);

  /// Requests the stop and waits for the body to end; not to be called from within it. The
  /// destructor does the same.
  void stop() { thread = {}; }

 private:
  std::jthread thread;
};

/// Ticks at an exact rate, each at its own absolute time, so that no error adds up. A tick that has
/// passed while its owner was busy is left out; ticks never come closer than the rate.
class FramePacer {
 public:
  explicit FramePacer(double framesPerSecond);

  /// Sleeps until the next tick; the first one is now. Returns whether to go on.
  [[nodiscard]] bool nextTick(const std::stop_token& stop);

 private:
  const double period;  ///< nanoseconds
  const std::int64_t start;
  std::int64_t ticks = 0;
};

}  // namespace quorvex
