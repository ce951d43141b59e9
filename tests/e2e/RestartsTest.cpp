// Every way in which a session fails, hundreds of restarts and minutes of waiting, with everything
// real but the time.
#include <gmock/gmock.h>

#include <filesystem>

#include "e2e/SteeredHost.h"

namespace quorvex::test {
namespace {

using nlohmann::json;

std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

class RestartsTest : public SteeredHost {
 protected:
  /// The service sends pictures of an odd size, all of which have to be fitted.
  RestartsTest() : SteeredHost({"--size", "641x481"}) {}

  /// Waits for the line about a restart behind the first `from` bytes of the log; lets it come.
  void awaitRestart(const std::string& line, double wait, std::size_t from) {
    ASSERT_TRUE(comes([&] { return log.text().find(line, from) != std::string::npos; })) << line;
    mainQueue.advance(wait);
  }
};

TEST_F(RestartsTest, followEveryEndOfTheSocketAndEveryReplyThatASessionCanMeet) {
  const json dropped = {{"abort", true}}, failed = {{"status", 500}};
  const json paused = {{"type", "error"}, {"error_type", "PAUSE_TIMEOUT"}};
  const auto busy = [](const char* retryAfter) -> json {
    return {{"status", 503}, {"headers", {{"Retry-After", retryAfter}}}};
  };
  const json gone = {{"status", 404}, {"body", "gone"}};
  const json unusable = {{"body", R"({"type":"answer","sdp":"v=0"})"}};
  const struct {
    json socket;
    const char* endpoint;
    json reply;
    const char* first;
    const char* second = "";
    double wait = 0;
  } kCases[] = {{{{"close", 4000}}, "", {}, "(connection lost (4000))"},
                {{{"close", 4001}}, "", {}, "(4001 token rejected)"},
                {{{"send", paused}}, "", {}, "(pause/idle timeout — reconnect unpaused)"},
                {dropped, "status", failed, "(connection lost (", "#2 in 4s (connection lost (", 4},
                {dropped, "session-token", failed, "(", "#2 in 4s (token mint failed)", 4},
                {dropped, "turn-credentials", failed, "("},
                {dropped, "turn-credentials", {{"hang", true}}, "("},
                {dropped, "offer", gone, "(", "#2 in 4s (offer failed: offer 404: gone)", 4},
                {dropped, "offer", unusable, "(", "#2 in 4s (setRemoteAnswer failed)", 4},
                {dropped, "offer", busy("6.5"), "(", "#2 in 6s (503 backend busy)", 6.5},
                {dropped, "offer", busy("soon"), "(", "#2 in 4s (503 backend busy)", 4}};
  for (const auto& [socket, endpoint, reply, first, second, wait] : kCases) {
    SCOPED_TRACE(std::string(endpoint) + " " + reply.dump() + first);
    const std::size_t logged = log.text().size();
    if (*endpoint) {
      json once = reply;
      once["times"] = 1;
      service.control("faults", {{"replies", {{endpoint, once}}}});
    }
    service.control("socket", socket);
    awaitRestart(std::string("pipeline: restart #1 in 2s ") + first, 2, logged);
    if (*second) awaitRestart(std::string("pipeline: restart ") + second, wait, logged);
    ASSERT_TRUE(shows(kLive));
    forgetPicture();
    ASSERT_TRUE(comes([&] { return static_cast<bool>(picture()); }));
    EXPECT_EQ(picture()->cleanAperture, (PixelRect{160, 0, 960, 720}));
  }
}

TEST_F(RestartsTest, leaveThreadsDescriptorsAndTimersWhereTheyStood) {
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
  EXPECT_TRUE(comes([&] { return entriesOf("/proc/self/task") <= threads; })) << threads;
  EXPECT_TRUE(comes([&] { return entriesOf("/proc/self/fd") <= descriptors; })) << descriptors;
}

TEST_F(RestartsTest, inVainEndInAReportAndReconnectBringsItBack) {
  service.control("faults", {{"replies", {{"session-token", {{"status", 500}}}}}});
  reconnect();
  for (const char* next : {"4", "8", "16", "30"})
    awaitRestart(std::string(" in ") + next + "s (token mint failed)", std::stod(next), 0);
  ASSERT_TRUE(shows("Disconnected — click Reconnect to retry"));
  ASSERT_TRUE(comes([&] { return !service.state()["reports"].empty(); }));
  const json report = service.state()["reports"][0];
  EXPECT_EQ(report["connectionError"], "auto-reconnect gave up after 5 attempts");
  mainQueue.advance(600);
  EXPECT_EQ(host->appModel().statusText.get(), "Disconnected — click Reconnect to retry");
  service.control("faults", {{"replies", {{"session-token", nullptr}}}});
  reconnect();
  EXPECT_TRUE(shows(kLive));
}

TEST_F(RestartsTest, queueUpAreAdmittedByEitherMessageAndLeaveAQueueThatDoesNotMove) {
  for (const char* admits : {"start_connection", "not_queued", "nothing"}) {
    service.control("faults", {{"places", 0}, {"ahead", 3}});
    service.control("peers", {{"vanish", true}});  // or it would keep its place
    reconnect();
    ASSERT_TRUE(shows("In queue — #4 of 4"));
    mainQueue.advance(100);
    service.control("faults", {{"ahead", 1}});
    ASSERT_TRUE(shows("In queue — #2 of 2"));
    if (admits == std::string("nothing")) break;
    service.control("faults", {{"admit", admits}, {"ahead", 0}, {"places", 1}});
    ASSERT_TRUE(shows("Your turn — connecting…"));
    ASSERT_TRUE(shows(kLive));
  }
  mainQueue.advance(79.9);
  EXPECT_EQ(host->appModel().statusText.get(), "In queue — #2 of 2");
  mainQueue.advance(0.2);
  EXPECT_EQ(host->appModel().statusText.get(), "Queue didn't move — click Reconnect");
  service.control("faults", {{"ahead", 0}, {"places", nullptr}});
  reconnect();
  EXPECT_TRUE(shows(kLive));
}

}  // namespace
}  // namespace quorvex::test
