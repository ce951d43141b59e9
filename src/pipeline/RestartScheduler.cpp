#include "pipeline/RestartScheduler.h"

#include <algorithm>
#include <cmath>

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr double kFirstBackoff = 2;
constexpr double kLongestBackoff = 30;
constexpr double kRetryAfterCeiling = 120;
constexpr int kAutomaticRestarts = 5;
constexpr Seconds kIceGrace{6};

std::string wholeSeconds(double seconds) {
  return std::to_string(static_cast<int>(seconds));
}

}  // namespace

RestartScheduler::RestartScheduler(DispatchQueue& queue, const Clock& time, Callbacks wiring)
    : mainQueue(queue), clock(time), callbacks(std::move(wiring)) {}

void RestartScheduler::scheduleRestart(std::string reason, std::optional<double> retryAfter) {
  mainQueue.async(weakly(this, [reason = std::move(reason), retryAfter](RestartScheduler& self) {
    self.schedule(reason, retryAfter);
  }));
}

void RestartScheduler::schedule(const std::string& reason, std::optional<double> retryAfter) {
  cancelIceGrace();
  if (restartPending) {
    if (retryAfter) pushBack(reason, *retryAfter);
    return;
  }
  if (restartAttempts >= kAutomaticRestarts) {
    hostLog("pipeline: gave up after " + std::to_string(restartAttempts) + " restarts (" + reason +
            ") — use Reconnect");
    return callbacks.gaveUp(restartAttempts, reason);
  }
  const double backoff = std::min(kFirstBackoff * std::exp2(restartAttempts), kLongestBackoff);
  const double delay = std::max(std::min(retryAfter.value_or(0), kRetryAfterCeiling), backoff);
  restartPending = true;
  ++restartAttempts;
  hostLog("pipeline: restart #" + std::to_string(restartAttempts) + " in " + wholeSeconds(delay) +
          "s (" + reason + ")");
  callbacks.restartScheduled();
  arm(delay);
}

void RestartScheduler::pushBack(const std::string& reason, double retryAfter) {
  const double now = clock.now();
  const double remaining = std::max(restartFireAt.value_or(now) - now, 0.0);
  const double delay = std::max(std::min(retryAfter, kRetryAfterCeiling), remaining);
  hostLog("pipeline: pending restart pushed to " + wholeSeconds(delay) +
          "s out to honor Retry-After (" + reason + ")");
  arm(delay);
}

void RestartScheduler::arm(double delay) {
  restartFireAt = clock.now() + delay;
  restartWork = mainQueue.after(Seconds(delay), weakly(this, [](RestartScheduler& self) {
                                  self.restartPending = false;
                                  self.callbacks.restart();
                                }));
}

void RestartScheduler::cancelRestart() {
  restartWork.reset();
  restartPending = false;
  restartFireAt.reset();
}

void RestartScheduler::startIceGrace() {
  iceGraceWork = mainQueue.after(kIceGrace, weakly(this, [](RestartScheduler& self) {
                                   self.scheduleRestart("ICE disconnected");
                                 }));
}

}  // namespace quorvex
