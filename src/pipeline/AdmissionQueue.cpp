#include "pipeline/AdmissionQueue.h"

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr Seconds kQueueWaitLimit{180};

std::optional<std::int64_t> positive(std::optional<std::int64_t> number) {
  return number && *number > 0 ? number : std::nullopt;
}

}  // namespace

AdmissionQueue::AdmissionQueue(DispatchQueue& queue, AppModel& appModel, Callbacks wiring)
    : mainQueue(queue), model(appModel), callbacks(std::move(wiring)) {}

void AdmissionQueue::setQueueState(bool queued, std::optional<std::int64_t> position,
                                   std::optional<std::int64_t> total) {
  model.isQueued = queued;
  model.queuePosition = positive(position);
  model.queueTotal = positive(total);
  if (!queued) return cancelWait();
  callbacks.showPosition(model.queueLabel());
  armQueueWaitTimeout();
}

void AdmissionQueue::armQueueWaitTimeout() {
  if (queueWaitWork) return;
  queueWaitWork = mainQueue.after(kQueueWaitLimit, weakly(this, [](AdmissionQueue& self) {
                                    self.queueWaitWork.reset();
                                    if (!self.model.isQueued) return;
                                    hostLog(
                                        "queue: no promotion after 180s — tearing down "
                                        "(queue_timeout parity)");
                                    self.callbacks.timedOut();
                                  }));
}

void AdmissionQueue::signalingDidReceiveQueueStatus(const std::string& status,
                                                    std::optional<std::int64_t> position,
                                                    std::optional<std::int64_t> total) {
  // A late report never pulls a live session back into the queue.
  if (status == "queued" && !model.isLive) return setQueueState(true, position, total);
  if (status != "not_queued" || !model.isQueued) return;
  hostLog("pipeline: not_queued while waiting — re-offering once");
  setQueueState(false);
  callbacks.offerAgain();
}

}  // namespace quorvex
