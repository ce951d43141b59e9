#include "linux/threads/TaskSchedule.h"

#include <algorithm>
#include <utility>

namespace quorvex {

namespace {

constexpr Seconds kLongestDelay{1e9};

/// Not negative, no NaN, and short enough for the arithmetic of time points.
TaskSchedule::Clock::duration bounded(Seconds delay) {
  if (!(delay > Seconds::zero())) return {};
  return std::chrono::ceil<TaskSchedule::Clock::duration>(std::min(delay, kLongestDelay));
}

}  // namespace

class TaskSchedule::EntryTimer : public Timer {
 public:
  EntryTimer(std::shared_ptr<TaskSchedule> owner, std::shared_ptr<Entry> timed)
      : schedule(std::move(owner)), entry(std::move(timed)) {}
  ~EntryTimer() override { schedule->cancel(*entry); }

 private:
  const std::shared_ptr<TaskSchedule> schedule;
  const std::shared_ptr<Entry> entry;
};

void TaskSchedule::Ring::push(Task task) {
  if (count == places.size()) {
    std::vector<Task> larger(std::max<std::size_t>(16, 2 * count));
    for (std::size_t i = 0; i < count; ++i) larger[i] = std::move(places[(head + i) % count]);
    places = std::move(larger);
    head = 0;
  }
  places[(head + count) % places.size()] = std::move(task);
  ++count;
}

Task TaskSchedule::Ring::pop() {
  Task task = std::move(places[head]);
  head = (head + 1) % places.size();
  --count;
  return task;
}

TaskSchedule::TaskSchedule(std::function<void()> onChange) : changed(std::move(onChange)) {}

void TaskSchedule::async(Task task) {
  std::lock_guard lock(mutex);
  if (closed) return;  // the parameter outlives the lock: the caller destroys it
  ring.push(std::move(task));
  signalChange();
}

std::unique_ptr<Timer> TaskSchedule::add(Seconds delay, Seconds interval, Task task) {
  auto entry = std::make_shared<Entry>();
  entry->task = std::move(task);
  entry->interval = bounded(interval);
  entry->deadline = Clock::now() + bounded(delay);
  auto timer = std::make_unique<EntryTimer>(shared_from_this(), entry);
  std::lock_guard lock(mutex);
  if (!closed) {
    timers.emplace(entry->deadline, std::move(entry));
    signalChange();
  }
  return timer;
}

Task TaskSchedule::wait() {
  std::unique_lock lock(mutex);
  while (!closed) {
    queueDueTimers();
    if (!ring.empty()) return ring.pop();
    if (timers.empty()) {
      condition.wait(lock);
    } else {
      const auto deadline = timers.begin()->first;
      condition.wait_until(lock, deadline);
    }
  }
  return {};
}

TaskSchedule::Turn TaskSchedule::poll() {
  std::lock_guard lock(mutex);
  Turn turn;
  queueDueTimers();
  if (!ring.empty()) turn.task = ring.pop();
  turn.more = !ring.empty();
  if (!timers.empty()) turn.next = timers.begin()->first;
  return turn;
}

void TaskSchedule::close() {
  Ring droppedTasks;
  decltype(timers) droppedTimers;
  std::lock_guard lock(mutex);
  closed = true;
  std::swap(ring, droppedTasks);
  timers.swap(droppedTimers);
  condition.notify_all();
}

void TaskSchedule::queueDueTimers() {
  if (timers.empty()) return;
  const auto now = Clock::now();
  while (!timers.empty() && timers.begin()->first <= now) {
    auto due = timers.extract(timers.begin());
    ring.push([this, entry = std::move(due.mapped())] { run(entry); });
  }
}

void TaskSchedule::run(const std::shared_ptr<Entry>& entry) {
  {
    std::lock_guard lock(mutex);
    if (entry->cancelled) return;
    entry->running = true;
  }
  entry->task();
  Task finished;
  std::lock_guard lock(mutex);
  entry->running = false;
  if (entry->cancelled || closed || entry->interval == Clock::duration::zero()) {
    finished = std::move(entry->task);
    return;
  }
  const auto late = Clock::now() - entry->deadline;
  entry->deadline += (late / entry->interval + 1) * entry->interval;
  timers.emplace(entry->deadline, entry);
  signalChange();
}

void TaskSchedule::cancel(Entry& entry) {
  Task unbegun;
  std::lock_guard lock(mutex);
  entry.cancelled = true;
  if (entry.running) return;
  unbegun = std::move(entry.task);
  auto [at, end] = timers.equal_range(entry.deadline);
  at = std::find_if(at, end, [&](const auto& timer) { return timer.second.get() == &entry; });
  if (at != end) timers.erase(at);
}

void TaskSchedule::signalChange() {
  condition.notify_one();
  if (changed) changed();
}

}  // namespace quorvex
