#include "linux/qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <utility>

#include "linux/threads/TaskSchedule.h"

namespace quorvex {

/// Lives on the loop's thread and runs one task a turn.
class QtMainQueue::Pump : public QObject {
 public:
  std::shared_ptr<TaskSchedule> schedule;

  Pump() {
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, this, [this] { takeTurn(); });
  }

  /// Thread-safe.
  void requestTurn() {
    if (!turnRequested.exchange(true)) {
      QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }
  }

  bool event(QEvent* event) override {
    if (event->type() != QEvent::User) return QObject::event(event);
    turnRequested = false;
    takeTurn();
    return true;
  }

 private:
  void takeTurn() {
    auto held = schedule;  // the task may destroy the queue, and this with it
    auto turn = held->poll();
    // Before the task runs: it may run a nested loop, in which the next turns are taken.
    if (turn.more) requestTurn();
    if (turn.next) startTimer(*turn.next);
    if (turn.task) turn.task();
  }

  void startTimer(TaskSchedule::Clock::time_point due) {
    using std::chrono::milliseconds;
    constexpr milliseconds kLongest{24 * 3600 * 1000};  // then it looks again
    const auto left = std::chrono::ceil<milliseconds>(due - TaskSchedule::Clock::now());
    timer.start(std::clamp(left, milliseconds::zero(), kLongest));
  }

  std::atomic<bool> turnRequested = false;
  QTimer timer;
};

QtMainQueue::QtMainQueue()
    : pump(std::make_unique<Pump>()),
      schedule(std::make_shared<TaskSchedule>([pump = pump.get()] { pump->requestTurn(); })) {
  pump->schedule = schedule;
}

QtMainQueue::~QtMainQueue() {
  schedule->close();
}

void QtMainQueue::async(Task task) {
  schedule->async(std::move(task));
}

std::unique_ptr<Timer> QtMainQueue::after(Seconds delay, Task task) {
  return schedule->add(delay, Seconds::zero(), std::move(task));
}

std::unique_ptr<Timer> QtMainQueue::every(Seconds first, Seconds interval,
                                          std::function<void()> task) {
  return schedule->add(first, interval, std::move(task));
}

}  // namespace quorvex
