#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "linux/qt/QtMainQueue.h"

namespace quorvex {
namespace {

using std::chrono::milliseconds;

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

TEST_F(QtMainQueueTest, runsTasksOfEveryThreadOnItsOwnAndInOrder) {
  constexpr int kTasks = 2000;
  std::vector<std::vector<int>> seen(3);
  int ran = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kTasks; ++i) {
        queue->async([&, t, i, here = std::this_thread::get_id()] {
          EXPECT_NE(std::this_thread::get_id(), here);
          seen[t].push_back(i);
          if (++ran == 3 * kTasks) loop.quit();
        });
      }
    });
  }
  run();
  for (auto& thread : threads) thread.join();
  for (const auto& order : seen) EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
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
  std::unique_ptr<Timer> outlives = queue->every(
      Seconds{0}, Seconds{0.001}, [captured] { ADD_FAILURE() << "ran after the end"; });
  queue->async([captured] { ADD_FAILURE() << "ran after the end"; });
  queue.reset();
  for (int i = 0; i < 10; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  outlives.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

}  // namespace
}  // namespace quorvex
