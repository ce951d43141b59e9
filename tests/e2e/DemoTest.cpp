// The host against the local service, over real HTTP, WebSocket and WebRTC, into a real camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "e2e/HostRun.h"
#include "e2e/ServiceRun.h"
#include "support/Eventually.h"

namespace quorvex::test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;

const std::vector<std::string> kDemo{"--demo",  "--headless",       "--camera",
                                     "pattern", "--virtual-camera", "embedded"};

std::vector<std::string> operator+(std::vector<std::string> some,
                                   const std::vector<std::string>& more) {
  some.insert(some.end(), more.begin(), more.end());
  return some;
}

int luma(const std::string& frame, int x, int y) {
  return static_cast<unsigned char>(frame.at(static_cast<std::size_t>(y) * 1280 + x));
}

/// The last of ten pictures that ffmpeg reads from the running host's camera, as raw I420.
std::string pictureFrom(const HostRun& host) {
  const std::string file = host.folder / "picture.yuv";
  ChildProcess reader({"ffmpeg", "-v", "error", "-f", "yuv4mpegpipe", "-i", "unix:" + host.socket(),
                       "-frames:v", "10", "-f", "rawvideo", file},
                      "ffmpeg", host.folder / "ffmpeg.txt");
  EXPECT_EQ(reader.exitCode(), 0) << contentOf(host.folder / "ffmpeg.txt");
  const std::string pictures = contentOf(file);
  EXPECT_EQ(pictures.size(), 10u * 1280 * 720 * 3 / 2);
  return pictures.substr(pictures.size() - 1280 * 720 * 3 / 2);
}

TEST(Demo, carriesEveryFrameToTheVirtualCameraAndBackInTime) {
  HostRun host(kDemo + std::vector<std::string>{"--seconds", "14"});
  ASSERT_TRUE(eventually([&] { return host.says(kLive); })) << host.printed();
  const std::string picture = pictureFrom(host);
  // The service draws a border, bright and of one colour, around all but the lowest tenth.
  EXPECT_NEAR(luma(picture, 3, 300), luma(picture, 640, 3), 4);
  EXPECT_GT(std::abs(luma(picture, 3, 300) - luma(picture, 20, 300)), 10);
  ASSERT_EQ(host.process->exitCode(), 0) << host.printed();
  const auto report = host.report();
  EXPECT_EQ(report["status"], kLive);
  EXPECT_EQ(report["frameSize"], "1280x720");
  EXPECT_GT(report["fps"], 20) << "30 on a machine that is not overloaded";
  EXPECT_EQ(report["received"], report["enqueued"]) << "nothing is dropped";
  EXPECT_GE(report["drained"].get<int>() + 4, report["enqueued"].get<int>());
  EXPECT_GT(report["latencyMs"]["p95"], 0);
  EXPECT_LT(report["lostFrames"].get<int>(), report["received"].get<int>() / 10);
  EXPECT_FALSE(std::filesystem::exists(host.socket())) << "the socket goes with the host";
  const auto log = host.log();
  EXPECT_THAT(log, IsSupersetOf({"virtual camera: the embedded camera is available",
                                 "webrtc: capturing Quorvex Test Pattern @30fps",
                                 "signaling: got answer (face_swap_ready=true)",
                                 "webrtc: iceConnectionState=1", "webrtc: iceConnectionState=2",
                                 "lifecycle: quitting — disconnecting cleanly"}));
  EXPECT_THAT(log, Each(Not(HasSubstr("a=ice-ufrag"))));
}

TEST(Demo, playsAClipAtItsOwnSizeAndRate) {
  TemporaryFolder folder;
  const std::string clip = folder / "clip.y4m";
  ChildProcess ffmpeg({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=352x288:r=25:d=2",
                       "-pix_fmt", "yuv420p", clip},
                      "ffmpeg", folder / "ffmpeg.txt");
  ASSERT_EQ(ffmpeg.exitCode(), 0);
  HostRun host({"--demo", "--headless", "--camera", "y4m:" + clip, "--virtual-camera", "embedded",
                "--seconds", "7"});
  ASSERT_TRUE(eventually([&] { return host.says(kLive); })) << host.printed();
  const std::string picture = pictureFrom(host);
  EXPECT_EQ(luma(picture, 100, 300), 16) << "a black bar stands left of a picture of another shape";
  ASSERT_EQ(host.process->exitCode(), 0) << host.printed();
  EXPECT_EQ(host.report()["frameSize"], "352x288");
  EXPECT_FALSE(host.report().contains("latencyMs")) << "a clip has no numbers to measure by";
}

TEST(Host, acceptsEverySizeThatAServiceSends) {
  for (const char* size : {"640x480", "641x481", "1920x1080"}) {
    const ServiceRun service({"--size", size});
    HostRun host(service.hostOptions() + std::vector<std::string>{"--seconds", "5"});
    ASSERT_EQ(host.process->exitCode(), 0) << host.printed();
    EXPECT_EQ(host.report()["frameSize"], size);
    EXPECT_GT(host.report()["latencyMs"]["p50"], 0) << "its numbers can be read at any size";
  }
}

TEST(Host, outlivesAServiceThatCannotBeReached) {
  HostRun host({"--headless", "--camera", "pattern", "--virtual-camera", "embedded", "--seconds",
                "4", "--web-base", "http://127.0.0.1:9", "--api-base", "http://127.0.0.1:9",
                "--socket-base", "ws://127.0.0.1:9"});
  EXPECT_EQ(host.process->exitCode(), 1) << "no picture ever came";
  EXPECT_EQ(host.report()["status"], "Reconnecting…");
  EXPECT_THAT(host.log(), IsSupersetOf({"pipeline: restart #1 in 2s (token mint failed)",
                                        "pipeline: restart #2 in 4s (token mint failed)"}));
}

TEST(Host, refusesBadOptionsInOneClearLine) {
  TemporaryFolder folder;
  const std::string noClip = folder / "no.y4m", conf = folder / "quorvex.conf";
  std::ofstream(noClip) << "not a clip";
  std::ofstream(conf) << "api_bse = https://x.example\n";
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"--bogus"}, "bogus"},
      {{"extra"}, "extra"},
      {{"doctor", "extra"}, "doctor extra"},
      {{"doctor", "--demo"}, "--demo"},
      {{"doctor", "--api-base", "http://api.example"}, "https://"},
      {{"--json"}, "--json"},
      {{"--seconds", "soon"}, "--seconds soon"},
      {{"--camera", "webcam"}, "--camera webcam"},
      {{"--camera", "y4m:" + noClip}, noClip},
      {{"--camera", "y4m:/nonexistent"}, "/nonexistent"},
      {{"--camera", "/dev/video99"}, "/dev/video99"},
      {{"--virtual-camera", "zoom"}, "--virtual-camera zoom"},
      {{"--api-base", "http://api.example"}, "https://"},
      {{"--web-base", "not a url"}, "web_base"},
      {{"--demo", "--api-base", "https://api.example"}, "--demo"},
      {{"--config", folder / "missing.conf"}, "missing.conf"},
      {{"--config", conf}, "api_bse"}};
  for (const auto& [options, expected] : cases) {
    HostRun host(options);
    EXPECT_EQ(host.process->exitCode(), 2) << expected;
    EXPECT_THAT(host.printed(), AllOf(HasSubstr("quorvex-camera: "), HasSubstr(expected)));
  }
}

}  // namespace
}  // namespace quorvex::test
