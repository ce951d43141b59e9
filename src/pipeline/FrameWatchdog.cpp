#include "pipeline/FrameWatchdog.h"

#include <string>

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr Seconds kPeriod{3};
constexpr double kStallThreshold = 8;

}  // namespace

FrameWatchdog::FrameWatchdog(DispatchQueue& queue, const Clock& time,
                             std::function<bool()> expecting, std::function<void(int)> onStall)
    : mainQueue(queue),
      clock(time),
      expectsFrames(std::move(expecting)),
      stalled(std::move(onStall)) {}

void FrameWatchdog::start() {
  timer = mainQueue.every(kPeriod, kPeriod, weakly(this, [](FrameWatchdog& self) { self.tick(); }));
}

void FrameWatchdog::tick() {
  const double last = lastFrameTS.load(std::memory_order_relaxed);
  if (last <= 0 || !expectsFrames()) return;
  const double gap = clock.now() - last;
  if (gap <= kStallThreshold) return;
  const int seconds = static_cast<int>(gap);
  hostLog("watchdog: no swapped frame for " + std::to_string(seconds) +
          "s — media stalled, reconnecting");
  clear();
  stalled(seconds);
}

}  // namespace quorvex
