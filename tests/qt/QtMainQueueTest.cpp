#include <gtest/gtest.h>

#include <QEventLoop>
#include <numeric>
#include <thread>

#include "linux/qt/QtMainQueue.h"
#include "qt/NetworkTalk.h"

namespace quorvex {
namespace {

TEST(QtMainQueue, runsOtherThreadsTasksOnItsOwnInOrderEvenWhileOneRunsALoop) {
  QtMainQueue queue;
  bool done = false;
  std::vector<int> seen, expected(2000);
  std::iota(expected.begin(), expected.end(), 0);
  QEventLoop alert;
  queue.async([&] {
    alert.exec();
    done = true;
  });
  std::thread([&, here = std::this_thread::get_id()] {
    for (const int i : expected)
      queue.async([&, i, here] {
        EXPECT_EQ(std::this_thread::get_id(), here);
        seen.push_back(i);
      });
    queue.async([&] { alert.quit(); });
  }).join();
  EXPECT_TRUE(test::comes([&] { return done; }));
  EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace quorvex
