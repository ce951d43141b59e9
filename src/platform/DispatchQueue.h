#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/Task.h"

namespace quorvex {

using Seconds = std::chrono::duration<double>;

/// Owns one delayed or repeating task of a queue. Destroying it cancels what has not begun to run;
/// it may be destroyed from inside the very task it owns.
class Timer {
 public:
  virtual ~Timer() = default;
};

/// Runs tasks one at a time, in the order in which they were handed over. The main queue and every
/// background queue are such queues; each runs on the injected clock's time.
///
/// Thread-safe: every operation may be called from any thread.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;

  /// Queues `task` and returns at once, also when called from the queue's own thread.
  virtual void async(Task task) = 0;

  /// Runs `task` once after `delay` (a negative one counts as 0), unless the timer is destroyed
  /// before.
  [[nodiscard]] virtual std::unique_ptr<Timer> after(Seconds delay, Task task) = 0;

  /// Runs `task` after `first` and then once an `interval`, until the timer is destroyed.
  [[nodiscard]] virtual std::unique_ptr<Timer> every(Seconds first, Seconds interval,
                                                     std::function<void()> task) = 0;
};

}  // namespace quorvex
