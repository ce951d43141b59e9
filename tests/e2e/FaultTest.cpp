// A live host, and what it does when the service or the virtual camera fails it: all of it real,
// the time too.
#include <gmock/gmock.h>

#include "e2e/CameraReader.h"
#include "e2e/HostRun.h"
#include "support/PrivatePipeWire.h"
#include "support/ServiceRun.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using namespace testing;
using Clock = CameraReader::Clock;

constexpr const char* kStuck = "Camera feed stuck — Quit & reopen to recover";
constexpr const char* kMissing = "Approve in System Settings, then relaunch";
/// The longest that a host takes for a session, or for a sink, once it sets about it, and that its
/// main thread keeps anybody waiting.
constexpr double kBuild = 2, kLongestStallMs = 50;

class FaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.shows(kLive);
    ASSERT_TRUE(reader.flowsAgain({}));
  }
  void TearDown() override { EXPECT_LT(host.interrupted()["mainThreadStallMs"], kLongestStallMs); }

  void expectPictures(double within, Clock::time_point since = Clock::now()) const {
    EXPECT_LE(reader.flowsAgain(since).value_or(99), within) << host.printed();
  }
  /// What happens from a fault that has begun to pictures again; it `ends` once it is noticed.
  void expectRestart(const std::string& reason, const std::function<void()>& ends) {
    const std::size_t printed = host.shows("Reconnecting…", host.printed().rfind(kLive));
    const std::size_t noticed = host.logs("pipeline: restart #1 in 2s (" + reason, logged);
    const auto ended = Clock::now();
    ends();
    logged = host.logs("webrtc: ontrack", noticed);
    expectPictures(2 + kBuild, ended);
    host.shows(kLive, printed);
  }
  /// The camera behaves again, and the session has not noticed.
  void expectRecovery() const {
    const auto ended = Clock::now();
    service.tellCamera("none");
    expectPictures(kBuild, ended);
    EXPECT_THAT(host.log(), Not(Contains(StartsWith("pipeline: restart"))));
  }

  ServiceRun service;
  HostRun host{service.hostOptions()};
  CameraReader reader{host.socket()};
  std::size_t logged = 0;  ///< lines that were there before the fault
};

TEST_F(FaultTest, comesBackFromAServiceThatDiesFromMediaThatStopAndFromAPeerThatVanishes) {
  service.kill();
  expectRestart("connection lost (", [&] { service.start(); });
  service.control("faults", {{"media", "stopped"}});
  expectRestart("frame stall ", [&] { service.control("faults", {{"media", "flowing"}}); });
  service.control("peers", {{"vanish", true}});
  expectRestart("", [] {});
}

TEST_F(FaultTest, staysLiveThroughWhatDoesNotMatter) {
  service.control("faults", {{"replies", {{"ice-candidate", {{"status", 500}}}}}});
  for (const json& message : std::vector<json>{
           {{"send", {{"type", "error"}, {"error_type", "SOMETHING_NEW"}}}},
           {{"send", {{"type", "fps_suggestion"}, {"fps", "many"}}}},
           {{"send", {{"type", "fps_suggestion"}, {"fps", 0}}}},
           {{"send", {{"type", "fps_suggestion"}, {"fps", 1e300}}}},
           {{"send", {{"type", "fps_suggestion"}, {"fps", 29.97}}}},
           {{"send", {{"type", "status_update"}, {"status", "queued"}, {"position", 3}}}},
           {{"text", "{\"type\":"}},
           {{"text", "[]"}, {"binary", true}},
           {{"send", {{"type", "last"}}}}})
    service.control("socket", message);
  host.logs("pipeline: control last");
  service.control("socket", {{"close", 1001}});
  EXPECT_FALSE(reader.stops(std::chrono::seconds(3)));
  EXPECT_THAT(host.log(), Not(Contains(StartsWith("pipeline: restart"))));
  for (const std::string fps : {"1", "30", "29"})
    EXPECT_THAT(host.log(),
                Contains("webrtc: maxFramerate set to " + fps + " fps (server fps_suggestion)"));
}

TEST_F(FaultTest, rebuildsAVirtualCameraThatRefusesFramesThreeTimesAndThenWaitsForIt) {
  service.tellCamera("refuse");
  const std::size_t printed = host.shows(kStuck);
  host.logs("sink watchdog: 3 rebuilds did NOT restore delivery");
  expectRecovery();
  host.logs("sink watchdog: delivery recovered");
  host.shows(kLive, printed);
}

TEST_F(FaultTest, rebuildsAVirtualCameraThatTakesNoMoreFrames) {
  service.tellCamera("stall");
  host.logs("reconnectSink: CMIODeviceStopStream status=0");
  expectRecovery();
}

TEST_F(FaultTest, findsAVirtualCameraThatHasBeenAway) {
  service.tellCamera("vanish");
  const std::size_t printed = host.shows(kMissing);
  expectRecovery();
  host.shows(kLive, printed);
}

TEST(PipeWireFault, theHostFeedsADaemonThatWasKilledAndStartedAgain) {
  PrivatePipeWire pipeWire;
  HostRun host({"--demo", "--headless", "--camera", "pattern"}, pipeWire.environment());
  host.logs("sink push: enqueued=60");
  host.shows("PipeWire node");
  pipeWire.killDaemon();
  host.logs("sink watchdog: frames arriving but NONE delivered");
  const std::size_t printed = host.shows(kMissing), logged = host.log().size();
  pipeWire.startDaemon();
  host.logs("sink connected; ready for swapped frames", logged);
  host.shows(kLive, printed);
  const std::string file = pipeWire.folder / "frames.nv12";
  ChildProcess reader(
      {"gst-launch-1.0", "-q", "pipewiresrc", "target-object=quorvex_camera", "num-buffers=10", "!",
       "video/x-raw,format=NV12,width=1280,height=720", "!", "filesink", "location=" + file},
      "gstreamer1.0-tools", pipeWire.folder / "gst.txt", pipeWire.environment());
  EXPECT_EQ(reader.exitCode(), 0) << contentOf(pipeWire.folder / "gst.txt");
  EXPECT_EQ(contentOf(file).size(), 10u * 1280 * 720 * 3 / 2);
  EXPECT_LT(host.interrupted()["mainThreadStallMs"], kLongestStallMs);
}

}  // namespace
}  // namespace quorvex::test
