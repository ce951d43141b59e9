#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "fakes/LogFile.h"
#include "platform/Clock.h"
#include "platform/DispatchQueue.h"

namespace quorvex {

/// Time that moves only when a test moves it.
class VirtualClock : public Clock {
 public:
  [[nodiscard]] double now() const override { return time; }
  std::atomic<double> time{1000};
};

/// A queue that a test runs by hand, on a virtual clock: three minutes pass at once. Any thread may
/// hand tasks over; the rest is for the one that runs them.
class ManualQueue : public DispatchQueue {
 public:
  explicit ManualQueue(VirtualClock& virtualClock) : clock(virtualClock) {}

  void async(Task task) override {
    std::lock_guard hold(mutex);
    tasks.push_back(std::move(task));
  }

  std::unique_ptr<Timer> after(Seconds delay, Task task) override {
    auto shared = std::make_shared<Task>(std::move(task));
    return add(delay.count(), 0, [shared] { (*shared)(); });
  }

  std::unique_ptr<Timer> every(Seconds first, Seconds interval,
                               std::function<void()> task) override {
    return add(first.count(), interval.count(), std::move(task));
  }

  /// Runs what is queued, and what that queues.
  void run() {
    for (Task task = next(); task; task = next()) task();
  }

  /// Moves the clock, running queued tasks and timers as they fall due.
  void advance(double seconds) {
    const double end = clock.time + seconds;
    run();
    while (const auto next = dueBefore(end)) {
      clock.time = std::max(clock.time.load(), next->due);
      if (next->interval > 0)
        next->due += next->interval;
      else
        next->cancelled = true;
      next->task();
      run();
    }
    clock.time = end;
  }

  [[nodiscard]] std::size_t timers() const {
    return std::count_if(entries.begin(), entries.end(),
                         [](const auto& entry) { return !entry->cancelled; });
  }

 private:
  struct Entry {
    double due, interval;
    std::function<void()> task;
    bool cancelled = false;
  };
  struct Handle : Timer {
    explicit Handle(std::shared_ptr<Entry> owned) : entry(std::move(owned)) {}
    ~Handle() override { entry->cancelled = true; }
    std::shared_ptr<Entry> entry;
  };

  std::unique_ptr<Timer> add(double delay, double interval, std::function<void()> task) {
    entries.push_back(std::make_shared<Entry>(
        Entry{clock.time + std::max(delay, 0.0), interval, std::move(task)}));
    return std::make_unique<Handle>(entries.back());
  }

  Task next() {
    std::lock_guard hold(mutex);
    if (tasks.empty()) return {};
    Task task = std::move(tasks.front());
    tasks.erase(tasks.begin());
    return task;
  }

  std::shared_ptr<Entry> dueBefore(double end) {
    std::erase_if(entries, [](const auto& entry) { return entry->cancelled; });
    std::shared_ptr<Entry> next;
    for (const auto& entry : entries)
      if (entry->due <= end && (!next || entry->due < next->due)) next = entry;
    return next;
  }

  VirtualClock& clock;
  std::mutex mutex;
  std::vector<Task> tasks;  // by mutex; allocates nothing once it has grown
  std::vector<std::shared_ptr<Entry>> entries;
};

/// A test with a log of its own, on a main queue and a clock that it moves.
class SteeredTest : public ::testing::Test {
 protected:
  LogFile log;
  VirtualClock clock;
  ManualQueue mainQueue{clock};
};

}  // namespace quorvex
