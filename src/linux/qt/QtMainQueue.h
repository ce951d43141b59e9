#pragma once

#include <memory>

#include "platform/DispatchQueue.h"

namespace quorvex {

class TaskSchedule;

/// A serial queue on the Qt event loop of the thread it is made on. Thread-safe, except that it
/// must be destroyed on that thread.
///
/// Each task is a turn of the loop of its own, so that a flood of tasks does not starve the
/// windows. While a task itself runs a nested loop (a modal alert), further tasks run in there.
/// Timers behave as those of ThreadQueue do and are precise to a millisecond.
///
/// Destroying the queue drops the tasks that have not begun; so does the end of the loop.
class QtMainQueue : public DispatchQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;

  void async(Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> after(Seconds delay, Task task) override;
  [[nodiscard]] std::unique_ptr<Timer> every(Seconds first, Seconds interval,
                                             std::function<void()> task) override;

 private:
  class Pump;
  std::unique_ptr<Pump> pump;
  const std::shared_ptr<TaskSchedule> schedule;
};

}  // namespace quorvex
