#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/DispatchQueue.h"

namespace quorvex {

/// Measures how long the main thread keeps others waiting: a thread of its own queues a task there
/// again and again and sees how late it runs. Time in which the machine was busy with other
/// programs and the main thread only waited for a core is not counted.
class MainThreadWatch {
 public:
  /// Begins to measure. Made on the main thread, whose queue is `mainQueue`.
  explicit MainThreadWatch(DispatchQueue& mainQueue);
  ~MainThreadWatch();

  /// The longest so far, in milliseconds; any thread.
  [[nodiscard]] double longestMilliseconds() const { return longest; }

 private:
  /// One task on its way; outlives the watch when it is still queued at the end.
  struct Beat {
    std::mutex mutex;
    std::condition_variable_any arrived;
    bool done = false;
    double ranAt = 0;
    double waitedForCore = 0;
  };

  void measure(const std::stop_token& stop, int mainThread);

  DispatchQueue& mainQueue;
  std::atomic<double> longest{0};
  std::jthread thread;
};

}  // namespace quorvex
