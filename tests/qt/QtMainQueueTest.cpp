#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <optional>
#include <thread>

#include "linux/qt/QtMainQueue.h"

namespace quorvex {
namespace {

class QtMainQueueTest : public testing::Test {
 protected:
  /// Runs the loop until a task calls loop.quit().
  void run() {
    const auto tooLate = queue->after(Seconds{20}, [this] {
      ADD_FAILURE() << "nothing ended the loop";
      loop.quit();
    });
    loop.exec();
  }

  QEventLoop loop;
  std::optional<QtMainQueue> queue{std::in_place};
};

TEST_F(QtMainQueueTest, runsTasksOfAnotherThreadOnItsOwnAndInOrder) {
  std::vector<int> seen;
  const std::jthread other([&] {
    for (int i = 0; i < 5000; ++i)
      queue->async([&, i, there = std::this_thread::get_id()] {
        EXPECT_NE(std::this_thread::get_id(), there);
        seen.push_back(i);
        if (seen.size() == 5000) loop.quit();
      });
  });
  run();
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(QtMainQueueTest, goesOnWhileATaskRunsALoopOfItsOwn) {
  std::vector<int> order;
  queue->async([&] {
    QEventLoop alert;
    order.push_back(1);
    queue->async([&] { alert.quit(); });
    alert.exec();
    order.push_back(3);
    loop.quit();
  });
  queue->async([&] { order.push_back(2); });
  run();
  EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

TEST_F(QtMainQueueTest, doesNoWorkAfterItsEnd) {
  auto captured = std::make_shared<int>();
  const auto fail = [captured] { ADD_FAILURE() << "ran after the end"; };
  std::unique_ptr<Timer> outlives = queue->every(Seconds{0}, Seconds{0.001}, fail);
  queue->async(fail);
  queue.reset();
  for (int i = 0; i < 10; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  outlives.reset();
  EXPECT_EQ(captured.use_count(), 2);
}

}  // namespace
}  // namespace quorvex
