// The host in this process, on real HTTP, WebSocket, WebRTC and a real service, but on a clock that
// the test moves: hundreds of restarts and minutes of waiting pass in seconds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <filesystem>

#include "app/AppDelegate.h"
#include "e2e/ServiceRun.h"
#include "fakes/FakeService.h"
#include "fakes/LogFile.h"
#include "fakes/ManualQueue.h"
#include "linux/cameras/PatternCamera.h"
#include "linux/images/VipsImageCodec.h"
#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtWebSocketClient.h"
#include "linux/threads/ThreadQueue.h"
#include "linux/vcam/EmbeddedCamera.h"
#include "linux/vcam/VirtualCameraDevices.h"
#include "linux/webrtc/NativeRtcEngine.h"

namespace quorvex::test {
namespace {

using nlohmann::json;

constexpr const char* kLive = "Live ✓ — swapped camera ready";

std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

class RestartsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host->applicationDidFinishLaunching();
    ASSERT_TRUE(shows(kLive));
  }
  ~RestartsTest() override {
    host->applicationShouldTerminate();
    host.reset();
    mainQueue.run();
  }

  [[nodiscard]] bool comes(const std::function<bool()>& condition) {
    return eventually([&] {
      mainQueue.run();
      return condition();
    });
  }
  [[nodiscard]] bool shows(const std::string& status) {
    const bool shown = comes([&] { return host->appModel().statusText.get() == status; });
    EXPECT_TRUE(shown) << "the status is still " << host->appModel().statusText.get();
    return shown;
  }
  void reconnect() {
    host->appModel().onReconnect();
    mainQueue.advance(2);
  }

  int argumentCount = 0;
  QCoreApplication application{argumentCount, nullptr};
  LogFile log;
  ServiceRun service;
  VirtualClock clock;
  ManualQueue mainQueue{clock};
  std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  QtHttpClient http{network};
  QtWebSocketClient sockets{network};
  FakeDefaults defaults;
  FakeSystemLog systemLog;
  VirtualCameraDevices cmio{
      {std::make_shared<EmbeddedCamera>(service.folder / "camera", [](std::string_view) {})},
      [](std::string_view) {}};
  ThreadQueue background{"background"};
  VipsImageCodec images;
  NativeRtcEngine engine{std::make_shared<PatternCamera>(std::make_shared<FrameLedger>()), true};
  std::shared_ptr<AppDelegate> host = std::make_shared<AppDelegate>(
      AppDelegate::Platform{
          mainQueue, [](const std::string& label) { return std::make_shared<ThreadQueue>(label); },
          background, clock, http, sockets, defaults, systemLog, cmio, engine, images, nullptr,
          [](const char*) { return std::optional<std::string>(); }},
      ServiceEndpoints{service.bases["web"], service.bases["api"], service.bases["socket"],
                       "127.0.0.1"});
};

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
