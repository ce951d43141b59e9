// A live host, and what it does when the service or the virtual camera fails it. Each fault is
// real: replies, sockets, media and devices that misbehave while everything else works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "e2e/CameraReader.h"
#include "e2e/FaultSocket.h"
#include "e2e/ServiceRun.h"
#include "support/PrivatePipeWire.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kStuck = "Camera feed stuck — Quit & reopen to recover";
constexpr const char* kMissing = "Approve in System Settings, then relaunch";
/// The longest that a host takes for a session, or for a sink, once it sets about it.
constexpr double kBuild = 2;
/// The longest that the main thread may keep anybody waiting, in milliseconds.
constexpr double kLongestStall = 50;

class FaultTest : public ::testing::Test {
 protected:
  struct Fault {
    const char* name;
    std::function<void()> begin;
    /// How the line begins with which the host takes up the fault; the fault can end then.
    std::string taken;
    /// Seconds from there in which the rules let nothing happen yet.
    double wait;
    std::function<void()> end = {};
  };

  void SetUp() override {
    ASSERT_TRUE(eventually([&] { return host.says(kLive) && reader.flowing(); })) << host.printed();
  }
  void TearDown() override {
    host.process->signal(SIGINT);
    ASSERT_EQ(host.process->exitCode(), 0) << host.printed();
    EXPECT_LT(host.report()["mainThreadStallMs"], kLongestStall);
  }

  /// Waits for a line of the host's log behind the first `from`: the number of lines up to it.
  std::size_t awaitLine(const std::string& start, std::size_t from,
                        std::chrono::seconds limit = std::chrono::seconds(40)) const {
    std::size_t at = 0;
    EXPECT_TRUE(eventually(
        [&] {
          const auto lines = host.log();
          for (at = from; at < lines.size(); ++at)
            if (lines[at].starts_with(start)) return true;
          return false;
        },
        limit))
        << "no line begins with: " << start;
    return at + 1;
  }
  void awaitStatus(const std::string& text, std::size_t from) const {
    EXPECT_TRUE(eventually([&] { return host.printed().find(text, from) != std::string::npos; },
                           std::chrono::seconds(40)))
        << text << " is not shown behind:\n"
        << host.printed().substr(from);
  }

  /// One fault from its beginning to pictures again.
  void survives(const Fault& fault) {
    SCOPED_TRACE(fault.name);
    const std::size_t logged = host.log().size(), printed = host.printed().size();
    const auto began = CameraReader::Clock::now();
    fault.begin();
    const std::size_t takenUp = awaitLine(fault.taken, logged);
    const auto taken = CameraReader::Clock::now();
    if (fault.end) fault.end();
    // Until it is taken down the old session may go on delivering.
    awaitLine("webrtc: ontrack", takenUp);
    const std::chrono::duration<double> build = CameraReader::Clock::now() - taken;
    const auto flow = reader.flowsAgain(CameraReader::Clock::now(), std::chrono::seconds(60));
    ASSERT_TRUE(flow) << host.printed();
    const double again = build.count() + *flow;
    awaitStatus(kLive, std::max(host.printed().find("Reconnecting…", printed), printed));
    EXPECT_THAT(host.printed().substr(printed), HasSubstr("Reconnecting…"));
    EXPECT_LE(again, fault.wait + kBuild);
    const std::chrono::duration<double> before = taken - began;
    std::printf("measured: %s: noticed after %.1f s, pictures again %.1f s later\n", fault.name,
                before.count(), again);
  }

  void dropSocket() const { (void)service.control("socket", {{"abort", true}}); }
  /// What makes the host build its session anew and find `endpoint` misbehaving, once.
  std::function<void()> rebuildInto(const char* endpoint, json reply) const {
    return [this, endpoint, reply = std::move(reply)]() mutable {
      reply["times"] = 1;
      (void)service.control("faults", {{"replies", {{endpoint, reply}}}});
      dropSocket();
    };
  }

  ServiceRun service;
  HostRun host{withFaultSocket(service)};
  CameraReader reader{host.socket()};
};

TEST_F(FaultTest, comesBackFromEveryEndOfTheStatusSocket) {
  const auto closed = [&](int code) {
    return [this, code] { (void)service.control("socket", {{"close", code}, {"reason", "x"}}); };
  };
  survives({"status socket torn down", [&] { dropSocket(); },
            "pipeline: restart #1 in 2s (connection lost (", 2});
  survives({"status socket closed with 4000", closed(4000),
            "pipeline: restart #1 in 2s (connection lost (4000))", 2});
  survives({"token rejected with 4001", closed(4001),
            "pipeline: restart #1 in 2s (4001 token rejected)", 2});
  survives({"session ended for its pause",
            [&] {
              (void)service.control(
                  "socket", {{"send", {{"type", "error"}, {"error_type", "PAUSE_TIMEOUT"}}}});
            },
            "pipeline: restart #1 in 2s (pause/idle timeout — reconnect unpaused)", 2});
  survives({"handshake refused with 500", rebuildInto("status", {{"status", 500}}),
            "pipeline: restart #2 in 4s (connection lost (", 4});
}

TEST_F(FaultTest, comesBackFromEveryReplyThatASessionCanMeet) {
  survives({"token refused with 401", rebuildInto("session-token", {{"status", 401}}),
            "pipeline: restart #2 in 4s (token mint failed)", 4});
  survives({"token reply is garbage",
            rebuildInto("session-token", {{"status", 200}, {"body", "<"}}),
            "pipeline: restart #2 in 4s (token mint failed)", 4});
  survives({"token reply takes 3 s", rebuildInto("session-token", {{"delay", 3}}),
            "pipeline: sink ready → minting token", 3});
  survives({"ICE servers are not to be had (500)",
            rebuildInto("turn-credentials", {{"status", 500}}), "signaling: minted token", 0});
  survives({"ICE servers never come", rebuildInto("turn-credentials", {{"hang", true}}),
            "signaling: minted token", 5});
  survives({"offer refused with 404", rebuildInto("offer", {{"status", 404}, {"body", "gone"}}),
            "pipeline: restart #2 in 4s (offer failed: offer 404: gone)", 4});
  survives({"offer's reply is garbage", rebuildInto("offer", {{"status", 200}, {"body", "["}}),
            "pipeline: restart #2 in 4s (offer failed: ", 4});
  survives({"service busy for 6.5 s",
            rebuildInto("offer", {{"status", 503}, {"headers", {{"Retry-After", "6.5"}}}}),
            "pipeline: restart #2 in 6s (503 backend busy)", 6.5});
  survives({"service busy, no telling how long",
            rebuildInto("offer", {{"status", 503}, {"headers", {{"Retry-After", "soon"}}}}),
            "pipeline: restart #2 in 4s (503 backend busy)", 4});
  survives({"answer cannot be applied",
            [&] {
              (void)service.control("faults", {{"answer", "unusable"}});
              dropSocket();
            },
            "pipeline: restart #2 in 4s (setRemoteAnswer failed)", 4,
            [&] {
              (void)service.control("faults", {{"answer", "well"}});
            }});
}

TEST_F(FaultTest, comesBackWhenMediaEndsWithoutAWord) {
  survives({"media stops, all else stays up",
            [&] {
              (void)service.control("faults", {{"media", "stopped"}});
            },
            "pipeline: restart #1 in 2s (frame stall ", 2,
            [&] {
              (void)service.control("faults", {{"media", "flowing"}});
            }});
  survives({"peer vanishes",
            [&] {
              (void)service.control("peers", {{"vanish", true}});
            },
            "pipeline: restart #1 in 2s (", 2});
  survives({"service killed and started again", [&] { service.kill(); },
            "pipeline: restart #1 in 2s (connection lost (", 2, [&] { service.start(); }});
}

TEST_F(FaultTest, staysLiveThroughWhatDoesNotMatter) {
  const std::size_t logged = host.log().size();
  const auto say = [&](const json& message) {
    (void)service.control("socket", {{"send", message}});
  };
  (void)service.control("faults", {{"replies", {{"ice-candidate", {{"status", 500}}}}}});
  say({{"type", "error"}, {"error_type", "SOMETHING_NEW"}});
  say({{"type", "fps_suggestion"}, {"fps", "many"}});
  say({{"type", "fps_suggestion"}, {"fps", 29.97}});
  say({{"type", "status_update"}, {"status", "queued"}, {"position", 3}});
  say(json::object());
  (void)service.control("socket", {{"text", "{\"type\":"}});
  (void)service.control("socket", {{"text", "[]"}, {"binary", true}});
  say({{"type", "last"}});
  awaitLine("pipeline: control last", logged);
  (void)service.control("socket", {{"close", 1001}});
  EXPECT_FALSE(reader.stops(std::chrono::seconds(3)));
  EXPECT_THAT(host.log(), Not(Contains(StartsWith("pipeline: restart"))));
  EXPECT_THAT(host.log(), Contains("webrtc: maxFramerate set to 29 fps (server fps_suggestion)"));
}

TEST_F(FaultTest, waitsInTheQueueAndIsAdmitted) {
  for (const char* admitted : {"start_connection", "not_queued"}) {
    const std::size_t logged = host.log().size(), printed = host.printed().size();
    (void)service.control("faults", {{"places", 0}, {"ahead", 3}, {"admit", admitted}});
    (void)service.control("peers", {{"vanish", true}});  // or it would keep its place
    dropSocket();
    awaitStatus("In queue — #4 of 4", printed);
    (void)service.control("faults", {{"ahead", 1}});
    awaitStatus("In queue — #2 of 2", printed);
    const auto free = CameraReader::Clock::now();
    (void)service.control("faults", {{"ahead", 0}, {"places", 1}});
    const auto again = reader.flowsAgain(free, std::chrono::seconds(20));
    awaitStatus("Your turn — connecting…", printed);
    awaitStatus(kLive, host.printed().find("Your turn", printed));
    EXPECT_LE(again.value_or(99), kBuild);
    awaitLine("pipeline: queued at position 4 — waiting for control:start_connection", logged);
    if (admitted == std::string("not_queued"))
      awaitLine("pipeline: not_queued while waiting — re-offering once", logged);
    std::printf("measured: admitted by %s: pictures again after %.1f s\n", admitted,
                again.value_or(99));
  }
}

TEST_F(FaultTest, rebuildsAVirtualCameraThatTakesNoFrames) {
  std::size_t logged = host.log().size();
  const auto recovers = [&](const char* what) {
    const auto now = CameraReader::Clock::now();
    tell(service, "none");
    const auto again = reader.flowsAgain(now, std::chrono::seconds(20));
    EXPECT_LE(again.value_or(99), kBuild) << what;
    std::printf("measured: virtual camera %s: pictures again after %.1f s\n", what,
                again.value_or(99));
  };
  tell(service, "refuse");
  awaitLine("sink watchdog: 3 rebuilds did NOT restore delivery", logged);
  awaitLine("pipeline: CMIO sink wedged", logged);
  awaitStatus(kStuck, 0);
  std::size_t printed = host.printed().find(kStuck);
  recovers("refused frames");
  awaitLine("sink watchdog: delivery recovered", logged);
  awaitStatus(kLive, printed);

  logged = host.log().size();
  tell(service, "stall");
  awaitLine("reconnectSink: CMIODeviceStopStream status=0", logged);
  recovers("stopped draining");

  logged = host.log().size();
  tell(service, "vanish");
  awaitLine("connectToSink: device absent after 8 tries → activation needed", logged);
  awaitStatus(kMissing, 0);
  printed = host.printed().find(kMissing);
  recovers("was gone");
  awaitStatus(kLive, printed);
  EXPECT_THAT(host.log(), Not(Contains(StartsWith("pipeline: restart"))))
      << "the session outlives the camera's troubles";
}

TEST(PipeWireFault, theHostFeedsADaemonThatWasKilledAndStartedAgain) {
  PrivatePipeWire pipeWire;
  HostRun host({"--demo", "--headless", "--camera", "pattern"}, pipeWire.environment());
  const auto logs = [&](const std::string& start, std::size_t from) {
    return eventually(
        [&] {
          const auto lines = host.log();
          return std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(from), lines.end(),
                             [&](const auto& line) { return line.starts_with(start); });
        },
        std::chrono::seconds(40));
  };
  ASSERT_TRUE(logs("sink push: enqueued=60", 0)) << host.printed();
  EXPECT_TRUE(host.says("PipeWire node")) << "the demo prefers it to the embedded camera";
  pipeWire.killDaemon();
  EXPECT_TRUE(logs("sink watchdog: frames arriving but NONE delivered", 0));
  EXPECT_TRUE(eventually([&] { return host.says(kMissing); })) << host.printed();
  const std::size_t logged = host.log().size();
  const auto started = CameraReader::Clock::now();
  pipeWire.startDaemon();
  EXPECT_TRUE(logs("sink connected; ready for swapped frames", logged)) << host.printed();
  EXPECT_TRUE(eventually([&] {
    return host.printed().find(kLive, host.printed().find(kMissing)) != std::string::npos;
  }));
  const std::chrono::duration<double> took = CameraReader::Clock::now() - started;
  EXPECT_LE(took.count(), kBuild);
  std::printf("measured: PipeWire's daemon killed: pictures again %.1f s after its start\n",
              took.count());
  const std::string file = pipeWire.folder / "frames.nv12";
  ChildProcess reader(
      {"gst-launch-1.0", "-q", "pipewiresrc", "target-object=quorvex_camera", "num-buffers=10", "!",
       "video/x-raw,format=NV12,width=1280,height=720", "!", "filesink", "location=" + file},
      "gstreamer1.0-tools", pipeWire.folder / "gst.txt", pipeWire.environment());
  EXPECT_EQ(reader.exitCode(), 0) << contentOf(pipeWire.folder / "gst.txt");
  EXPECT_EQ(contentOf(file).size(), 10u * 1280 * 720 * 3 / 2);
  host.process->signal(SIGINT);
  EXPECT_EQ(host.process->exitCode(), 0) << host.printed();
  EXPECT_LT(host.report()["mainThreadStallMs"], kLongestStall);
}

}  // namespace
}  // namespace quorvex::test
