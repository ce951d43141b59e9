#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/DispatchQueue.h"

namespace quorvex {

/// What a queue has to do: the tasks handed over, in their order, and the timers, which join that
/// order when they are due. A thread or an event loop takes the tasks out and runs them.
///
/// Thread-safe. Tasks are never run, and never destroyed, while the schedule's lock is held.
class TaskSchedule : public std::enable_shared_from_this<TaskSchedule> {
 public:
  using Clock = std::chrono::steady_clock;

  struct Turn {
    Task task;                              ///< empty when nothing is due
    bool more = false;                      ///< another task is due already
    std::optional<Clock::time_point> next;  ///< when the next timer is due
  };

  /// `changed` is called, on any thread and with the lock held, whenever there may be something new
  /// for poll() to find. Never after close() has returned.
  explicit TaskSchedule(std::function<void()> changed = {});

  /// Appends a task. Allocates nothing for a task that lives inside itself, once the schedule has
  /// held as many tasks at a time as it does now. After close() the task is dropped.
  void async(Task task);

  /// Runs `task` after `delay` and, unless `interval` is 0, again at every multiple of `interval`
  /// after that; a multiple that passed while the queue was busy is left out, so that a repeating
  /// timer neither drifts nor bursts. Deadlines are monotonic time.
  ///
  /// Once the Timer's destructor has returned, the task does not begin. If it had begun on the
  /// queue's thread, it runs to its end there and is destroyed there; else the destructor destroys
  /// it.
  [[nodiscard]] std::unique_ptr<Timer> add(Seconds delay, Seconds interval, Task task);

  /// Waits until a task is due and gives it; an empty one once the schedule is closed.
  Task wait();

  /// Gives the task that is due now, if there is one, and says what comes after it.
  Turn poll();

  /// Drops everything that has not begun, and from now on every task handed over.
  void close();

 private:
  struct Entry {
    Task task;
    Clock::duration interval;
    Clock::time_point deadline;
    bool cancelled = false;
    bool running = false;
  };
  class EntryTimer;

  /// A first-in first-out queue in one block of memory that grows and never shrinks.
  class Ring {
   public:
    [[nodiscard]] bool empty() const { return count == 0; }
    void push(Task task);
    Task pop();

   private:
    std::vector<Task> places;
    std::size_t head = 0;
    std::size_t count = 0;
  };

  void queueDueTimers();
  void run(const std::shared_ptr<Entry>& entry);
  void cancel(Entry& entry);
  void signalChange();

  const std::function<void()> changed;
  std::mutex mutex;
  // The state below is protected by the mutex.
  std::condition_variable condition;
  Ring ring;
  std::multimap<Clock::time_point, std::shared_ptr<Entry>> timers;
  bool closed = false;
};

}  // namespace quorvex
