#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/DispatchQueue.h"

namespace quorvex {

/// Decides when a failed session is built again: after 2, 4, 8, 16 and 30 s, later when the service
/// asks for it, and not a sixth time. Also waits out a short loss of the ICE connection. Knows
/// nothing of what a restart does. Main queue only, unless said otherwise.
class RestartScheduler : public std::enable_shared_from_this<RestartScheduler> {
 public:
  struct Callbacks {
    std::function<void()> restart;
    std::function<void()> restartScheduled;
    /// All automatic restarts are used up; `reason` is the last failure's.
    std::function<void(int attempts, const std::string& reason)> gaveUp;
  };

  RestartScheduler(DispatchQueue& mainQueue, const Clock& clock, Callbacks callbacks);

  /// Asks for a restart. `retryAfter` is the service's wish in seconds; it can put a restart off,
  /// by 120 s at most, but never bring it forward. Any thread; returns at once.
  void scheduleRestart(std::string reason, std::optional<double> retryAfter = std::nullopt);

  /// The session works: the next failure starts again from the shortest wait.
  void resetAttempts() { restartAttempts = 0; }

  /// Drops a scheduled restart.
  void cancelRestart();

  /// The ICE connection broke; unless it is back within 6 s, the session is built again.
  void startIceGrace();
  void cancelIceGrace() { iceGraceWork.reset(); }

  [[nodiscard]] bool isRestartPending() const { return restartPending; }

 private:
  void schedule(const std::string& reason, std::optional<double> retryAfter);
  void pushBack(const std::string& reason, double retryAfter);
  void arm(double delay);

  DispatchQueue& mainQueue;
  const Clock& clock;
  const Callbacks callbacks;
  int restartAttempts = 0;
  bool restartPending = false;
  std::unique_ptr<Timer> restartWork;
  std::optional<double> restartFireAt;  ///< on the clock
  std::unique_ptr<Timer> iceGraceWork;
};

}  // namespace quorvex
