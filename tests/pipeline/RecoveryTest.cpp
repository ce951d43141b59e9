// The rules in time by which the host comes back, each to its edge.
#include <gmock/gmock.h>

#include "fakes/ManualQueue.h"
#include "pipeline/FrameWatchdog.h"
#include "pipeline/RestartScheduler.h"
#include "sink/SinkWatchdog.h"

namespace quorvex {
namespace {

using namespace testing;

constexpr double kMoment = 1e-6;

using RecoveryTest = SteeredTest;

class RestartsTest : public RecoveryTest {
 protected:
  void ask(const std::string& reason, std::optional<double> retryAfter = std::nullopt) {
    restarts->scheduleRestart(reason, retryAfter);
    mainQueue.run();
  }
  /// The seconds until the scheduled restart comes.
  double wait() {
    const double asked = clock.time;
    const int before = fired;
    while (fired == before && clock.time < asked + 200) mainQueue.advance(0.25);
    return clock.time - asked;
  }

  int fired = 0, shown = 0;
  std::vector<std::string> gaveUp;
  std::shared_ptr<RestartScheduler> restarts = std::make_shared<RestartScheduler>(
      mainQueue, clock,
      RestartScheduler::Callbacks{[this] { ++fired; }, [this] { ++shown; },
                                  [this](int attempts, const std::string& reason) {
                                    gaveUp.push_back(std::to_string(attempts) + " " + reason);
                                  }});
};

TEST_F(RestartsTest, climbTheLadderAndGiveUpUntilReset) {
  for (const double expected : {2.0, 4.0, 8.0, 16.0, 30.0}) {
    ask("a");
    EXPECT_EQ(wait(), expected);
  }
  ask("b");
  ask("c", 60);
  EXPECT_EQ(mainQueue.timers(), 0u);
  EXPECT_EQ(shown, 5);
  EXPECT_THAT(gaveUp, ElementsAre("5 b", "5 c"));
  EXPECT_THAT(log.lines(), Contains("pipeline: gave up after 5 restarts (c) — use Reconnect"));
  restarts->resetAttempts();
  ask("d");
  EXPECT_EQ(wait(), 2);
}

TEST_F(RestartsTest, arePutOffByTheServiceButNeverBroughtForward) {
  ask("busy", 600);
  EXPECT_EQ(wait(), 120) << "two minutes are the most";
  ask("busy", 3.5);
  EXPECT_EQ(wait(), 4) << "the ladder is the least";
  ask("first");
  mainQueue.advance(3);
  ask("unheard");
  ask("busy", 2);
  ask("busy", 60.9);
  ask("busy", -1);
  EXPECT_EQ(wait(), 61) << "to the quarter second";
  EXPECT_EQ(fired, 3);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("pipeline: restart #1 in 120s (busy)", "pipeline: restart #2 in 4s (busy)",
                  "pipeline: restart #3 in 8s (first)",
                  "pipeline: pending restart pushed to 5s out to honor Retry-After (busy)",
                  "pipeline: pending restart pushed to 60s out to honor Retry-After (busy)",
                  "pipeline: pending restart pushed to 60s out to honor Retry-After (busy)"));
}

TEST_F(RestartsTest, waitOutAShortLossOfTheConnection) {
  restarts->startIceGrace();
  mainQueue.advance(6 - kMoment);
  restarts->cancelIceGrace();
  mainQueue.advance(10);
  restarts->startIceGrace();
  mainQueue.advance(5);
  restarts->startIceGrace();
  mainQueue.advance(6 - kMoment);
  EXPECT_EQ(shown, 0) << "the second loss counts anew";
  mainQueue.advance(2 * kMoment);
  EXPECT_THAT(log.lines(), ElementsAre("pipeline: restart #1 in 2s (ICE disconnected)"));
  restarts->startIceGrace();
  ask("other");
  mainQueue.advance(10);
  EXPECT_EQ(shown, 1) << "a failure takes the grace's place";
}

TEST_F(RecoveryTest, framesAreMissedAfterMoreThanEightSecondsAndOnce) {
  bool expected = true;
  std::vector<int> stalls;
  const auto watchdog = std::make_shared<FrameWatchdog>(
      mainQueue, clock, [&] { return expected; }, [&](int seconds) { stalls.push_back(seconds); });
  watchdog->start();
  mainQueue.advance(30);
  EXPECT_TRUE(stalls.empty()) << "before the first frame there is nothing to miss";
  mainQueue.advance(1);  // looks come at 33, 36, 39, …
  watchdog->frameArrived();
  mainQueue.advance(8);
  EXPECT_TRUE(stalls.empty()) << "eight seconds are not more than eight";
  mainQueue.advance(60);
  EXPECT_THAT(stalls, ElementsAre(11));
  watchdog->frameArrived();
  expected = false;
  mainQueue.advance(60);
  EXPECT_THAT(stalls, ElementsAre(11));
}

TEST_F(RecoveryTest, aSinkIsRebuiltByTheRulesToTheMoment) {
  int rebuilds = 0, verdicts = 0, withdrawals = 0;
  SinkWatchdog watchdog([&] { ++rebuilds; }, [&] { ++verdicts; }, [&] { ++withdrawals; });
  SinkWatchdog::Delivery delivery{.connected = true, .enqueued = 7};
  watchdog.streamStarted(100);
  const auto tick = [&](double now, double sinceSuccess, double sinceAttempt) {
    delivery.lastSuccess = now - sinceSuccess;
    delivery.lastAttempt = now - sinceAttempt;
    watchdog.tick(delivery, now);
    return rebuilds;
  };
  EXPECT_EQ(tick(103.5, 3, 0), 0) << "not yet more than 3.5 s since the start";
  EXPECT_EQ(tick(104, 2.5, 0), 0);
  EXPECT_EQ(tick(104, 2.75, 1.5), 0) << "no frames arrive";
  EXPECT_EQ(tick(104, 2.75, 1.25), 1);
  EXPECT_EQ(tick(107.5, 6, 0), 1);
  EXPECT_EQ(tick(108, 6, 0), 2);
  delivery.enqueued = 8;
  EXPECT_EQ(tick(112, 3, 0), 3) << "a delivered frame in between counts anew";
  for (const double now : {116.0, 120.0, 124.0, 128.0, 132.0}) tick(now, now - 109, 0);
  EXPECT_EQ(rebuilds, 5);
  EXPECT_EQ(verdicts, 1);
  tick(133, 1.5, 0);
  EXPECT_EQ(withdrawals, 0);
  tick(134, 1.25, 0);
  tick(135, 0, 0);
  EXPECT_EQ(withdrawals, 1);
  delivery.connected = false;
  EXPECT_EQ(tick(150, 9, 0), 5);
}

}  // namespace
}  // namespace quorvex
