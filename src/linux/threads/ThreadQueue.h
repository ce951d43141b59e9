#pragma once

#include <memory>
#include <string>
#include <thread>

#include "platform/DispatchQueue.h"

namespace quorvex {

class TaskSchedule;

/// A serial queue on a thread of its own. Thread-safe.
///
/// Handing over a task that lives inside itself allocates nothing once the queue has held as many
/// tasks at a time as it does now. Timers run on monotonic time; when a timer is due its task joins
/// the others at the end. A repeating timer neither drifts nor makes up for turns it missed, and an
/// interval of 0 runs once.
///
/// Once a Timer's destructor has returned, its task does not begin. When the Timer was destroyed on
/// another thread while the task ran, the task is still finishing; it is destroyed on the queue's
/// thread. Timers may outlive the queue.
///
/// Destroying the queue lets the running task finish, drops the others and ends the thread. From
/// inside one of its own tasks it returns at once, and the thread ends after that task.
class ThreadQueue : public DispatchQueue {
 public:
  /// `userInteractive` asks the kernel for a higher priority and goes on with the normal one where
  /// the user may not have it.
  enum class Priority { normal, userInteractive };

  /// `label` names the thread; the kernel shows its last 15 characters.
  explicit ThreadQueue(const std::string& label, Priority priority = Priority::normal);
  ~ThreadQueue() override;

  void async(Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> after(Seconds delay, Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> every(Seconds first, Seconds interval,
                                             std::function<void()> task) override;

 private:
  const std::shared_ptr<TaskSchedule> schedule;
  std::thread thread;
};

}  // namespace quorvex
