#pragma once

#include <cstdint>
#include <functional>

#include "platform/DispatchQueue.h"

namespace quorvex {

/// Notices that frames arrive but none is delivered, asks for a rebuild, and gives up after three
/// that did not help, until delivery comes back by itself. Knows nothing of what is rebuilt. All of
/// it runs on the sink queue.
class SinkWatchdog {
 public:
  /// What the watchdog judges by; times in the clock's seconds, 0 for never.
  struct Delivery {
    bool connected = false;
    double lastAttempt = 0;
    double lastSuccess = 0;
    std::uint64_t enqueued = 0;
  };

  /// `rebuild` is asked for a rebuild, `wedged` is told of the verdict, `recovered` of its
  /// withdrawal.
  SinkWatchdog(std::function<void()> rebuild, std::function<void()> wedged,
               std::function<void()> recovered);

  /// Judges the delivery as it stands at `now`; called once a second.
  void tick(const Delivery& delivery, double now);

  /// The sink's stream was started at `now`.
  void streamStarted(double now) { lastReconnectTS = now; }

  /// Rebuilds since the start.
  [[nodiscard]] int rebuilds() const { return sinkReconnects; }

 private:
  void reconnect(const Delivery& delivery, double now);

  const std::function<void()> rebuild;
  const std::function<void()> wedged;
  const std::function<void()> recovered;
  int sinkReconnects = 0;
  double lastReconnectTS = 0;
  std::uint64_t enqueuedAtLastReconnect = 0;
  int consecutiveReconnects = 0;
  bool sinkGaveUp = false;
};

}  // namespace quorvex
