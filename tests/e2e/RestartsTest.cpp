// Hundreds of restarts and minutes of waiting, with everything real but the time.
#include <gmock/gmock.h>

#include <filesystem>

#include "e2e/SteeredHost.h"

namespace quorvex::test {
namespace {

using nlohmann::json;

std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

using RestartsTest = SteeredHost;

TEST_F(RestartsTest, fiveHundredLeaveThreadsDescriptorsAndTimersWhereTheyStood) {
  const auto restart = [&](int times) {
    for (int i = 0; i < times; ++i) {
      reconnect();
      ASSERT_TRUE(shows(kLive));
    }
  };
  restart(20);
  const auto threads = entriesOf("/proc/self/task"), descriptors = entriesOf("/proc/self/fd");
  const std::size_t timers = mainQueue.timers();
  restart(500);
  EXPECT_EQ(mainQueue.timers(), timers);
  EXPECT_TRUE(comes([&] {
    return entriesOf("/proc/self/task") <= threads && entriesOf("/proc/self/fd") <= descriptors;
  })) << "threads "
      << entriesOf("/proc/self/task") << ", before " << threads << "; descriptors "
      << entriesOf("/proc/self/fd") << ", before " << descriptors;
}

TEST_F(RestartsTest, fiveInVainEndInAReportAndReconnectBringsItBack) {
  (void)service.control("faults", {{"replies", {{"session-token", {{"status", 500}}}}}});
  reconnect();
  for (const char* next : {"4s", "8s", "16s", "30s"}) {
    const std::string line = std::string(" in ") + next + " (token mint failed)";
    ASSERT_TRUE(comes([&] { return log.text().find(line) != std::string::npos; })) << line;
    mainQueue.advance(std::stod(next));
  }
  ASSERT_TRUE(shows("Disconnected — click Reconnect to retry"));
  ASSERT_TRUE(comes([&] { return !service.state()["reports"].empty(); }));
  const json report = service.state()["reports"][0];
  EXPECT_EQ(report["connectionError"], "auto-reconnect gave up after 5 attempts");
  EXPECT_EQ(report["note"], "macOS desktop (quorvex-camera) — token mint failed");
  mainQueue.advance(600);
  EXPECT_EQ(host->appModel().statusText.get(), "Disconnected — click Reconnect to retry");
  (void)service.control("faults", {{"replies", {{"session-token", nullptr}}}});
  reconnect();
  EXPECT_TRUE(shows(kLive));
}

TEST_F(RestartsTest, aQueueThatDoesNotMoveIsLeftAfterThreeMinutes) {
  (void)service.control("faults", {{"places", 0}, {"ahead", 2}});
  (void)service.control("peers", {{"vanish", true}});  // or it would keep its place
  reconnect();
  ASSERT_TRUE(shows("In queue — #3 of 3"));
  mainQueue.advance(100);
  (void)service.control("faults", {{"ahead", 1}});
  ASSERT_TRUE(shows("In queue — #2 of 2"));
  mainQueue.advance(79.9);
  EXPECT_EQ(host->appModel().statusText.get(), "In queue — #2 of 2");
  mainQueue.advance(0.2);
  EXPECT_EQ(host->appModel().statusText.get(), "Queue didn't move — click Reconnect");
  (void)service.control("faults", {{"ahead", 0}, {"places", nullptr}});
  reconnect();
  EXPECT_TRUE(shows(kLive));
}

}  // namespace
}  // namespace quorvex::test
