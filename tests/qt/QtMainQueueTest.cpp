#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QEventLoop>
#include <optional>
#include <thread>

#include "linux/qt/QtMainQueue.h"
#include "qt/NetworkTalk.h"

namespace quorvex {
namespace {

TEST(QtMainQueue, runsTasksOfAnotherThreadOnItsOwnAndInOrder) {
  QtMainQueue queue;
  std::vector<int> seen;
  const std::jthread other([&] {
    for (int i = 0; i < 5000; ++i)
      queue.async([&, i, there = std::this_thread::get_id()] {
        EXPECT_NE(std::this_thread::get_id(), there);
        seen.push_back(i);
      });
  });
  for (QDeadlineTimer limit(20'000); seen.size() < 5000 && !limit.hasExpired();)
    QCoreApplication::processEvents();
  EXPECT_EQ(seen.size(), 5000u);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST(QtMainQueue, goesOnWhileATaskRunsALoopOfItsOwn) {
  QtMainQueue queue;
  std::vector<int> order;
  queue.async([&] {
    QEventLoop alert;
    order.push_back(1);
    queue.async([&] { alert.quit(); });
    alert.exec();
    order.push_back(3);
  });
  queue.async([&] { order.push_back(2); });
  EXPECT_TRUE(test::comes([&] { return order.size() == 3; }));
  EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

TEST(QtMainQueue, doesNoWorkAfterItsEnd) {
  std::optional<QtMainQueue> queue(std::in_place);
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
