// The host against the local service, over real HTTP, WebSocket and WebRTC, into a real camera.
#include <gmock/gmock.h>

#include <filesystem>

#include "e2e/HostRun.h"
#include "support/ServiceRun.h"

namespace quorvex::test {
namespace {

using namespace testing;

std::vector<std::string> demo(const std::string& camera, const std::string& seconds) {
  return {"--demo",           "--headless", "--camera",  camera,
          "--virtual-camera", "embedded",   "--seconds", seconds};
}

int luma(const std::string& frame, int x, int y) {
  return static_cast<unsigned char>(frame.at(static_cast<std::size_t>(y) * 1280 + x));
}

void ffmpeg(std::vector<std::string> words) {
  const TemporaryFolder folder;
  words.insert(words.begin(), {"ffmpeg", "-v", "error"});
  EXPECT_EQ(ChildProcess(words, "ffmpeg", folder / "printed").exitCode(), 0)
      << contentOf(folder / "printed");
}

/// The last of ten pictures that a player reads from the running host's camera, as raw I420.
std::string pictureFrom(const HostRun& host) {
  const std::string file = host.folder / "picture.yuv";
  ffmpeg({"-f", "yuv4mpegpipe", "-i", "unix:" + host.socket(), "-frames:v", "10", "-f", "rawvideo",
          file});
  const std::string pictures = contentOf(file);
  EXPECT_EQ(pictures.size(), 10u * 1280 * 720 * 3 / 2);
  return pictures.substr(pictures.size() / 10 * 9);
}

TEST(Demo, carriesEveryFrameToTheVirtualCameraAndBackInTime) {
  HostRun host(demo("pattern", "8"));
  host.shows(kLive);
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
  EXPECT_LT(report["mainThreadStallMs"], 50);
  EXPECT_FALSE(std::filesystem::exists(host.socket())) << "the socket goes with the host";
  EXPECT_THAT(host.log(), IsSupersetOf({"signaling: got answer (face_swap_ready=true)",
                                        "webrtc: iceConnectionState=2",
                                        "lifecycle: quitting — disconnecting cleanly"}));
  EXPECT_THAT(host.log(), Each(Not(HasSubstr("a=ice-ufrag"))));
}

TEST(Demo, playsAClipAtItsOwnSize) {
  const TemporaryFolder folder;
  const std::string clip = folder / "clip.y4m";
  ffmpeg({"-f", "lavfi", "-i", "testsrc=s=352x288:r=25:d=2", "-pix_fmt", "yuv420p", clip});
  HostRun host(demo("y4m:" + clip, "60"));
  host.shows(kLive);
  EXPECT_EQ(luma(pictureFrom(host), 100, 300), 16)
      << "a black bar stands left of a picture of another shape";
  const auto report = host.interrupted();
  EXPECT_EQ(report["frameSize"], "352x288");
  EXPECT_FALSE(report.contains("latencyMs")) << "a clip has no numbers to measure by";
}

TEST(Host, outlivesAServiceThatCannotBeReached) {
  const std::string nobody = "http://127.0.0.1:9";
  HostRun host({"--headless", "--camera", "pattern", "--virtual-camera", "embedded", "--seconds",
                "1", "--web-base", nobody, "--api-base", nobody});
  EXPECT_EQ(host.process->exitCode(), 1) << "no picture ever came";
  EXPECT_EQ(host.report()["status"], "Reconnecting…");
}

TEST(Host, refusesBadOptionsInOneClearLine) {
  const TemporaryFolder folder;
  const std::string noClip = folder / "no.y4m", conf = folder / "quorvex.conf";
  std::ofstream(noClip) << "not a clip";
  std::ofstream(conf) << "api_bse = https://x.example\n";
  const std::pair<std::vector<std::string>, std::string> kCases[] = {
      {{"--bogus"}, "bogus"},
      {{"doctor", "extra"}, "doctor extra"},
      {{"doctor", "--demo"}, "--demo"},
      {{"--json"}, "--json"},
      {{"--seconds", "soon"}, "--seconds soon"},
      {{"--camera", "webcam"}, "--camera webcam"},
      {{"--camera", "y4m:" + noClip}, noClip},
      {{"--camera", "/dev/video99"}, "/dev/video99"},
      {{"--virtual-camera", "zoom"}, "--virtual-camera zoom"},
      {{"--web-base", "not a url"}, "web_base"},
      {{"--api-base", "http://api.example"}, "https://"},
      {{"--demo", "--api-base", "https://api.example"}, "--demo"},
      {{"--config", folder / "missing.conf"}, "missing.conf"},
      {{"--config", conf}, "api_bse"}};
  for (const auto& [options, expected] : kCases) {
    HostRun host(options);
    EXPECT_EQ(host.process->exitCode(), 2) << expected;
    EXPECT_THAT(host.printed(), AllOf(HasSubstr("quorvex-camera: "), HasSubstr(expected)));
  }
}

TEST(Host, namesAsADoctorWhatIsClosedAndWhichSettingsAreBroken) {
  const TemporaryFolder folder;
  const std::string saved = folder / "config/quorvex-camera/settings.json",
                    conf = folder / "my.conf";
  std::filesystem::create_directories(folder / "config/quorvex-camera");
  std::ofstream(saved) << "{\"rc.enhance\": tr";
  std::ofstream(conf) << "api_bse = https://x.example\n";
  HostRun host({"doctor", "--config", conf},
               {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent", "PIPEWIRE_REMOTE=/nonexistent"},
               {"env", "XDG_CONFIG_HOME=" + (folder / "config")});
  EXPECT_EQ(host.process->exitCode(), 1);
  for (const std::string& line :
       {std::string("✗ PipeWire         PipeWire does not answer at /nonexistent"),
        std::string("✗ Service, web     not asked, as the settings cannot be used\n"),
        "✗ User settings    " + conf + ": there is no setting \"api_bse\"",
        "✗ Saved settings   " + saved + " is damaged\n"})
    EXPECT_THAT(host.printed(), HasSubstr(line));
  EXPECT_TRUE(std::filesystem::exists(saved)) << "nothing is changed by looking";
}

}  // namespace
}  // namespace quorvex::test
