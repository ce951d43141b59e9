#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <vector>

#include "fakes/AllocationCounter.h"
#include "linux/threads/ThreadQueue.h"

namespace quorvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kDeadline{20};

/// Waits until everything handed over so far has run.
void settle(DispatchQueue& queue) {
  std::promise<void> reached;
  auto whenReached = reached.get_future();
  queue.async([reached = std::move(reached)]() mutable { reached.set_value(); });
  ASSERT_EQ(whenReached.wait_for(kDeadline), std::future_status::ready);
}

/// Keeps the queue busy until it is destroyed.
class Gate {
 public:
  explicit Gate(DispatchQueue& queue) {
    queue.async([opened = open.get_future()]() mutable { opened.wait(); });
  }
  ~Gate() { open.set_value(); }

 private:
  std::promise<void> open;
};

TEST(ThreadQueue, runsTheTasksOfEachCallerOneAtATimeAndInTheirOrder) {
  constexpr int kCallers = 4;
  constexpr int kTasks = 5000;
  ThreadQueue queue("order");
  std::vector<std::vector<int>> seen(kCallers);
  int total = 0;  // not atomic: only one task runs at a time
  std::vector<std::thread> callers;
  for (int caller = 0; caller < kCallers; ++caller) {
    callers.emplace_back([&, caller] {
      for (int i = 0; i < kTasks; ++i) {
        queue.async([&, caller, i] {
          seen[caller].push_back(i);
          ++total;
        });
      }
    });
  }
  for (auto& caller : callers) caller.join();
  settle(queue);
  EXPECT_EQ(total, kCallers * kTasks);
  for (const auto& order : seen) EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadQueue, allocatesNothingForASmallTaskOnceItHasGrown) {
  ThreadQueue queue("warm");
  int ran = 0;
  const auto burst = [&] {
    Gate gate(queue);
    for (int i = 0; i < 1000; ++i) queue.async([&ran] { ++ran; });
  };
  burst();
  settle(queue);
  std::size_t before = 0;
  std::size_t after = 0;
  {
    Gate gate(queue);
    before = allocationCount();
    for (int i = 0; i < 1000; ++i) queue.async([&ran] { ++ran; });
    queue.async([&after] { after = allocationCount(); });
  }
  settle(queue);
  EXPECT_EQ(ran, 2000);
  EXPECT_LE(after - before, 2u) << "the promise of the gate is set in between";
}

TEST(ThreadQueue, runsTimersNotBeforeTheirTimeAndInTheOrderOfTheirTimes) {
  std::vector<int> order;
  std::promise<steady_clock::duration> last;
  ThreadQueue queue("timers");
  const auto start = steady_clock::now();
  const auto past = queue.after(Seconds{-1}, [&] { order.push_back(1); });
  const auto late = queue.after(Seconds{0.3}, [&] {
    order.push_back(3);
    last.set_value(steady_clock::now() - start);
  });
  const auto early = queue.after(Seconds{0.01}, [&] { order.push_back(2); });
  auto elapsed = last.get_future();
  ASSERT_EQ(elapsed.wait_for(kDeadline), std::future_status::ready);
  EXPECT_GE(elapsed.get(), milliseconds{300});
  EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

TEST(ThreadQueue, repeatsWithoutDriftWhateverItsTaskTakes) {
  constexpr int kTurns = 20;
  const auto run = [] {
    std::promise<void> done;
    int turns = 0;
    ThreadQueue queue("drift");
    const auto start = steady_clock::now();
    const auto timer = queue.every(Seconds{0.01}, Seconds{0.01}, [&] {
      std::this_thread::sleep_for(milliseconds{4});
      if (++turns == kTurns) done.set_value();
    });
    done.get_future().wait();
    return steady_clock::now() - start;
  };
  // A busy machine may make it miss turns, but drift would add 80 ms each time.
  auto best = run();
  for (int i = 0; i < 30 && best > milliseconds{265}; ++i) best = std::min(best, run());
  EXPECT_LT(best, milliseconds{265});
}

TEST(ThreadQueue, letsATimerBeDestroyedInsideItsOwnTask) {
  int turns = 0;
  std::promise<void> destroyed;
  std::promise<void> end;
  ThreadQueue queue("inside");
  std::unique_ptr<Timer> timer;
  queue.async([&] {
    timer = queue.every(Seconds{0}, Seconds{0.001}, [&, big = std::vector<int>(100)] {
      timer.reset();
      turns += static_cast<int>(big.size());
      destroyed.set_value();
    });
  });
  ASSERT_EQ(destroyed.get_future().wait_for(kDeadline), std::future_status::ready);
  const auto later = queue.after(Seconds{0.01}, [&] { turns *= 10; });
  const auto last = queue.after(Seconds{0.02}, [&] { end.set_value(); });
  end.get_future().wait();
  EXPECT_EQ(turns, 1000);
}

TEST(ThreadQueue, takesTimersFromManyThreadsThatComeAndGo) {
  auto captured = std::make_shared<int>();
  std::atomic<int> ran = 0;
  {
    ThreadQueue queue("storm");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        std::vector<std::unique_ptr<Timer>> held;
        for (int i = 0; i < 500 || ran < 100; ++i) {
          const Seconds delay{1e-5 * ((i * 7 + t) % 20)};
          held.push_back(i % 2 ? queue.every(delay, Seconds{1e-4}, [&ran, captured] { ++ran; })
                               : queue.after(delay, [&ran, captured] { ++ran; }));
          if (held.size() > 10) held.erase(held.begin());
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(ThreadQueue, finishesTheRunningTaskAndDropsTheOthersWhenDestroyed) {
  std::promise<void> begun;
  bool finished = false;
  bool ranLater = false;
  auto captured = std::make_shared<int>();
  std::unique_ptr<Timer> outlivesTheQueue;
  {
    ThreadQueue queue("end");
    queue.async([&] {
      begun.set_value();
      std::this_thread::sleep_for(milliseconds{20});
      finished = true;
    });
    queue.async([&ranLater, captured] { ranLater = true; });
    outlivesTheQueue = queue.after(Seconds{100}, [&ranLater, captured] { ranLater = true; });
    begun.get_future().wait();
  }
  outlivesTheQueue.reset();
  EXPECT_TRUE(finished);
  EXPECT_FALSE(ranLater);
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(ThreadQueue, mayBeLetGoInsideOneOfItsOwnTasks) {
  std::promise<void> lettingGo;
  std::promise<void> ended;
  auto whenEnded = ended.get_future();
  auto queue = std::make_shared<ThreadQueue>("last owner");
  queue->async(
      [owner = queue, whenAlone = lettingGo.get_future(), ended = std::move(ended)]() mutable {
        whenAlone.wait();
        owner.reset();
        ended.set_value();
      });
  queue.reset();
  lettingGo.set_value();
  EXPECT_EQ(whenEnded.wait_for(kDeadline), std::future_status::ready);
}

}  // namespace
}  // namespace quorvex
