#include <gmock/gmock.h>

#include <future>

#include "fakes/AllocationCounter.h"
#include "linux/threads/ThreadQueue.h"

namespace quorvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void await(const std::future<void>& reached) {
  ASSERT_EQ(reached.wait_for(std::chrono::seconds(60)), std::future_status::ready);
}
void await(std::promise<void>& reached) {
  await(reached.get_future());
}

TEST(ThreadQueue, runsTheTasksOfEachCallerOneAtATimeAndInTheirOrder) {
  constexpr int kTasks = 5000;
  ThreadQueue queue("order");
  std::vector<std::vector<int>> seen(4);
  int total = 0;  // not atomic: only one task runs at a time
  std::vector<std::jthread> callers;
  for (auto& mine : seen)
    callers.emplace_back([&] {
      for (int i = 0; i < kTasks; ++i) queue.async([&, i] { mine.push_back(i), ++total; });
    });
  callers.clear();
  std::promise<void> end;
  const auto reached = end.get_future();
  queue.async([end = std::move(end)]() mutable { end.set_value(); });
  await(reached);
  EXPECT_EQ(total, 4 * kTasks);
  for (const auto& order : seen) EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadQueue, allocatesNothingForASmallTaskOnceItHasGrown) {
  int ran = 0, before = 0, after = 0;
  std::promise<void> gates[2], ends[2];  // outlive the queue
  ThreadQueue queue("warm");
  for (const int burst : {0, 1}) {
    queue.async([&, burst] { gates[burst].get_future().wait(); });
    before = allocationCount();
    for (int i = 0; i < 1000; ++i) queue.async([&ran] { ++ran; });
    queue.async([&, burst] {
      after = allocationCount();
      ends[burst].set_value();
    });
    gates[burst].set_value();
    await(ends[burst]);
  }
  EXPECT_EQ(ran, 2000);
  EXPECT_LE(after - before, 2) << "the promise of the gate is set in between";
}

TEST(ThreadQueue, runsTimersNotBeforeTheirTimeAndInTheOrderOfTheirTimes) {
  std::vector<int> order;
  std::promise<void> last;
  ThreadQueue queue("timers");
  const auto start = steady_clock::now();
  const auto past = queue.after(Seconds{-1}, [&] { order.push_back(1); });
  steady_clock::duration elapsed{};
  const auto late = queue.after(Seconds{0.3}, [&] {
    order.push_back(3);
    elapsed = steady_clock::now() - start;
    last.set_value();
  });
  const auto early = queue.after(Seconds{0.01}, [&] { order.push_back(2); });
  await(last);
  EXPECT_GE(elapsed, milliseconds{300});
  EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

TEST(ThreadQueue, letsATimerBeDestroyedInsideItsOwnTask) {
  int turns = 0;
  std::promise<void> end;
  ThreadQueue queue("inside");
  std::unique_ptr<Timer> timer, last;
  queue.async([&] {
    timer = queue.every(Seconds{0}, Seconds{0.001}, [&, big = std::vector<int>(100)] {
      timer.reset();
      turns += static_cast<int>(big.size());
      last = queue.after(Seconds{0.02}, [&] { end.set_value(); });
    });
  });
  await(end);
  EXPECT_EQ(turns, 100);
}

TEST(ThreadQueue, takesTimersFromManyThreadsThatComeAndGo) {
  auto captured = std::make_shared<int>();
  std::atomic<int> ran = 0;
  {
    ThreadQueue queue("storm");
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        std::vector<std::unique_ptr<Timer>> held;
        for (int i = 0; i < 500 || ran < 100; ++i) {
          const Seconds delay{1e-5 * ((i * 7 + t) % 20)}, interval{i % 2 * 1e-4};
          held.push_back(queue.every(delay, interval, [&ran, captured] { ++ran; }));
          if (held.size() > 10) held.erase(held.begin());
        }
      });
  }
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(ThreadQueue, finishesTheRunningTaskAndDropsTheOthersWhenDestroyed) {
  std::promise<void> begun;
  bool finished = false;
  const auto captured = std::make_shared<int>();
  const auto fail = [captured] { ADD_FAILURE() << "ran after the end"; };
  std::unique_ptr<Timer> outlivesTheQueue;
  {
    ThreadQueue queue("end");
    queue.async([&] {
      begun.set_value();
      std::this_thread::sleep_for(milliseconds{20});
      finished = true;
    });
    queue.async(fail);
    outlivesTheQueue = queue.after(Seconds{100}, fail);
    await(begun);
  }
  outlivesTheQueue.reset();
  EXPECT_TRUE(finished);
  EXPECT_EQ(captured.use_count(), 2);
}

TEST(ThreadQueue, mayBeLetGoInsideOneOfItsOwnTasks) {
  std::promise<void> lettingGo, ending;
  const auto ended = ending.get_future();
  auto queue = std::make_shared<ThreadQueue>("last owner");
  queue->async(
      [owner = queue, alone = lettingGo.get_future(), ending = std::move(ending)]() mutable {
        alone.wait();
        owner.reset();
        ending.set_value();
      });
  queue.reset();
  lettingGo.set_value();
  await(ended);
}

}  // namespace
}  // namespace quorvex
