#include "sink/SinkWatchdog.h"

#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "log/HostLog.h"

namespace quorvex {
namespace {

constexpr double kHealthyLimit = 1.5;
constexpr double kSinkStallThreshold = 2.5;
constexpr double kArrivalLimit = 1.5;
constexpr double kRebuildSpacing = 3.5;
constexpr int kRebuildLimit = 3;

std::string oneDecimal(double value) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.1f", value);
  return text.data();
}

}  // namespace

SinkWatchdog::SinkWatchdog(std::function<void()> onRebuild, std::function<void()> onWedged,
                           std::function<void()> onRecovered)
    : rebuild(std::move(onRebuild)),
      wedged(std::move(onWedged)),
      recovered(std::move(onRecovered)) {}

void SinkWatchdog::tick(const Delivery& delivery, double now) {
  if (!delivery.connected) return;
  const double sinceSuccess = now - delivery.lastSuccess;
  if (sinceSuccess < kHealthyLimit) {
    if (std::exchange(sinkGaveUp, false)) {
      hostLog("sink watchdog: delivery recovered");
      recovered();
    }
    consecutiveReconnects = 0;
    return;
  }
  // Without arriving frames there is nothing to deliver; the pipeline watches that.
  const bool arriving = now - delivery.lastAttempt < kArrivalLimit;
  if (sinceSuccess <= kSinkStallThreshold || !arriving) return;
  if (sinkGaveUp || now - lastReconnectTS <= kRebuildSpacing) return;
  if (consecutiveReconnects < kRebuildLimit) {
    hostLog("sink watchdog: frames arriving but NONE delivered for " + oneDecimal(sinceSuccess) +
            "s — rebuilding CMIO sink (#" + std::to_string(consecutiveReconnects + 1) + "/" +
            std::to_string(kRebuildLimit) + ")");
    return reconnect(delivery, now);
  }
  sinkGaveUp = true;
  hostLog(
      "sink watchdog: " + std::to_string(consecutiveReconnects) +
      " rebuilds did NOT restore delivery — CMIO bridge wedged, host-side rebuild can't recover "
      "it. Surfacing (Reconnect/relaunch needed).");
  wedged();
}

void SinkWatchdog::reconnect(const Delivery& delivery, double now) {
  ++sinkReconnects;
  if (enqueuedAtLastReconnect < delivery.enqueued) consecutiveReconnects = 0;
  enqueuedAtLastReconnect = delivery.enqueued;
  ++consecutiveReconnects;
  lastReconnectTS = now;
  rebuild();
}

}  // namespace quorvex
