#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "platform/Clock.h"
#include "platform/DispatchQueue.h"

namespace quorvex {

/// Notices that a session which has delivered frames delivers none any more. Knows nothing of
/// sessions: it is told when to look and what to call. Main queue only, unless said otherwise.
class FrameWatchdog : public std::enable_shared_from_this<FrameWatchdog> {
 public:
  /// `expectsFrames` says whether a stall would mean anything just now; `stalled` is told how many
  /// whole seconds have passed without a frame, once a stall.
  FrameWatchdog(DispatchQueue& mainQueue, const Clock& clock, std::function<bool()> expectsFrames,
                std::function<void(int seconds)> stalled);

  /// Looks every 3 s from here on.
  void start();

  /// A frame has arrived. Any thread; a few nanoseconds.
  void frameArrived() { lastFrameTS.store(clock.now(), std::memory_order_relaxed); }

  /// Forgets the last frame: a stall is reported only after another one.
  void clear() { lastFrameTS.store(0, std::memory_order_relaxed); }

 private:
  void tick();

  DispatchQueue& mainQueue;
  const Clock& clock;
  const std::function<bool()> expectsFrames;
  const std::function<void(int)> stalled;
  std::atomic<double> lastFrameTS{0};  ///< 0: none since it was cleared
  std::unique_ptr<Timer> timer;
};

}  // namespace quorvex
