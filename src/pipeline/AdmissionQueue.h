#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "model/AppModel.h"
#include "platform/DispatchQueue.h"

namespace quorvex {

/// The host's place in the service's queue: keeps it in the model, shows it, and waits 180 s at
/// most. Main queue only.
class AdmissionQueue : public std::enable_shared_from_this<AdmissionQueue> {
 public:
  struct Callbacks {
    /// Shows the queue label on the status line.
    std::function<void(const std::string& label)> showPosition;
    /// The service says that the wait is over without having admitted the host: offer once more.
    std::function<void()> offerAgain;
    std::function<void()> timedOut;
  };

  AdmissionQueue(DispatchQueue& mainQueue, AppModel& model, Callbacks callbacks);

  /// Enters, updates or leaves the queued state. The wait is counted from entering it; the status
  /// text on leaving is the caller's.
  void setQueueState(bool queued, std::optional<std::int64_t> position = std::nullopt,
                     std::optional<std::int64_t> total = std::nullopt);

  /// A queue report of the service.
  void signalingDidReceiveQueueStatus(const std::string& status,
                                      std::optional<std::int64_t> position,
                                      std::optional<std::int64_t> total);

  /// Ends the wait and leaves the model as it is: the application quits.
  void cancelWait() { queueWaitWork.reset(); }

 private:
  void armQueueWaitTimeout();

  DispatchQueue& mainQueue;
  AppModel& model;
  const Callbacks callbacks;
  std::unique_ptr<Timer> queueWaitWork;
};

}  // namespace quorvex
