#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "linux/vcam/PipeWireCamera.h"
#include "vcam/Eventually.h"
#include "vcam/PrivatePipeWire.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using ::testing::HasSubstr;

/// Delivers picture after picture, 30 a second, as the device's consumer thread does.
class Deliveries {
 public:
  explicit Deliveries(PipeWireCamera& camera)
      : thread([&camera](const std::stop_token& stop) {
          const TestPictures pictures;
          auto due = std::chrono::steady_clock::now();
          for (int number = 0; !stop.stop_requested(); ++number) {
            if (const auto sample = pictures.sample(number % 220)) camera.deliver(*sample);
            std::this_thread::sleep_until(due += std::chrono::microseconds(33333));
          }
        }) {}

 private:
  std::jthread thread;
};

Bytes contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string textOf(const std::string& path) {
  const auto bytes = contentOf(path);
  return {bytes.begin(), bytes.end()};
}

/// Runs an independent reader and gives the numbers of the pictures that it read; it may be given
/// the grey picture first. Any other frame fails the test.
std::vector<int> numbersRead(const PrivatePipeWire& pipeWire, RawVideoFormat format,
                             const std::string& caps, std::size_t frames) {
  const std::string file = pipeWire.folder / caps;
  ChildProcess reader({"gst-launch-1.0", "pipewiresrc", "target-object=quorvex_camera",
                       "num-buffers=" + std::to_string(frames), "!",
                       "video/x-raw,format=" + caps + ",width=1280,height=720,framerate=30/1", "!",
                       "filesink", "location=" + file},
                      "gstreamer1.0-tools, and its source with gstreamer1.0-pipewire",
                      file + ".log", pipeWire.environment());
  EXPECT_EQ(reader.exitCode(), 0) << textOf(file + ".log");
  const Bytes content = contentOf(file);
  EXPECT_EQ(content.size(), frames * rawVideoBytes(format));
  std::vector<int> numbers;
  for (std::size_t at = 0; at < content.size(); at += rawVideoBytes(format)) {
    const std::span frame(content.data() + at, rawVideoBytes(format));
    if (const auto number = TestPictures::numberIn(frame, format))
      numbers.push_back(*number);
    else
      EXPECT_TRUE(at == 0 && TestPictures::isGrey(frame, format)) << "at byte " << at;
  }
  return numbers;
}

TEST(PipeWireCamera, reachesReadersOfEachFormatPixelByPixelAndInOrder) {
  const PrivatePipeWire pipeWire;
  PipeWireCamera camera(pipeWire.remote());
  const Deliveries deliveries(camera);
  ASSERT_TRUE(eventually([&] { return camera.available(); })) << *camera.whyUnavailable();

  constexpr std::pair<RawVideoFormat, const char*> kOffered[] = {{RawVideoFormat::nv12, "NV12"},
                                                                 {RawVideoFormat::i420, "I420"},
                                                                 {RawVideoFormat::yuy2, "YUY2"}};
  for (const auto& [format, caps] : kOffered) {
    SCOPED_TRACE(caps);
    const auto numbers = numbersRead(pipeWire, format, caps, 20);
    const auto goesBack = [](int one, int next) { return (next - one + 220) % 220 > 110; };
    EXPECT_EQ(std::ranges::adjacent_find(numbers, goesBack), numbers.end());
    // A busy machine may lose some on the way, but a camera that stammers is none.
    EXPECT_GE(std::set(numbers.begin(), numbers.end()).size(), 15u);
  }
}

TEST(PipeWireCamera, knowsWhetherItIsWatchedAndRepeatsThePictureMeanwhile) {
  const PrivatePipeWire pipeWire;
  PipeWireCamera camera(pipeWire.remote());
  ASSERT_TRUE(eventually([&] { return camera.available(); })) << *camera.whyUnavailable();
  EXPECT_FALSE(camera.watched());

  // Nothing is delivered: the reader gets the grey picture and its repetition, and ends with it.
  const std::string file = pipeWire.folder / "grey";
  ChildProcess reader({"gst-launch-1.0", "pipewiresrc", "target-object=quorvex_camera",
                       "num-buffers=2", "!", "video/x-raw", "!", "filesink", "location=" + file},
                      "gstreamer1.0-tools", file + ".log", pipeWire.environment());
  EXPECT_TRUE(eventually([&] { return camera.watched(); }));
  EXPECT_EQ(reader.exitCode(), 0) << textOf(file + ".log");
  const auto content = contentOf(file);
  ASSERT_EQ(content.size(), 2 * rawVideoBytes(RawVideoFormat::nv12));
  const std::span second(content.data() + content.size() / 2, content.size() / 2);
  EXPECT_TRUE(TestPictures::isGrey(second, RawVideoFormat::nv12));
  EXPECT_TRUE(eventually([&] { return !camera.watched(); }));
}

TEST(PipeWireCamera, isListedWithAllThatReadersLookFor) {
  const PrivatePipeWire pipeWire;
  PipeWireCamera camera(pipeWire.remote());
  ASSERT_TRUE(eventually([&] { return camera.available(); })) << *camera.whyUnavailable();

  const std::string file = pipeWire.folder / "dump";
  ChildProcess dump({"pw-dump", "quorvex_camera"}, "pipewire-bin", file, pipeWire.environment());
  ASSERT_EQ(dump.exitCode(), 0);
  const auto nodes = nlohmann::json::parse(textOf(file), nullptr, false);
  ASSERT_TRUE(nodes.is_array() && nodes.size() == 1) << textOf(file);
  const auto& properties = nodes[0]["info"]["props"];
  EXPECT_EQ(properties["media.class"], "Video/Source");
  EXPECT_EQ(properties["media.role"], "Camera");
  EXPECT_EQ(properties["node.description"], "Quorvex Camera");
  std::vector<std::string> formats;
  for (const auto& format : nodes[0]["info"]["params"]["EnumFormat"]) {
    formats.push_back(format["format"]);
    EXPECT_EQ(format["size"], nlohmann::json({{"width", 1280}, {"height", 720}}));
    EXPECT_EQ(format["framerate"], nlohmann::json({{"num", 30}, {"denom", 1}}));
  }
  EXPECT_THAT(formats, ::testing::ElementsAre("NV12", "I420", "YUY2"));
}

TEST(PipeWireCamera, comesBackWithADaemonThatWasKilled) {
  PrivatePipeWire pipeWire;
  PipeWireCamera camera(pipeWire.remote());
  std::atomic<int> changes{0};
  camera.onAvailabilityChanged([&] { ++changes; });
  const Deliveries deliveries(camera);
  ASSERT_TRUE(eventually([&] { return camera.available(); })) << *camera.whyUnavailable();
  // It dies under a reader.
  ChildProcess reader({"gst-launch-1.0", "pipewiresrc", "target-object=quorvex_camera", "!",
                       "video/x-raw", "!", "fakesink"},
                      "gstreamer1.0-tools", pipeWire.folder / "reader.log", pipeWire.environment());
  ASSERT_TRUE(eventually([&] { return camera.watched(); }))
      << textOf(pipeWire.folder / "reader.log");
  const int before = changes;

  pipeWire.killDaemon();
  ASSERT_TRUE(eventually([&] { return !camera.available(); }));
  EXPECT_FALSE(camera.watched());
  ASSERT_TRUE(eventually([&] {
    return ::testing::Value(camera.whyUnavailable().value_or(""), HasSubstr("Connection refused"));
  }));

  pipeWire.startDaemon();
  ASSERT_TRUE(eventually([&] { return camera.available(); }));
  EXPECT_EQ(changes, before + 2);
  EXPECT_GE(numbersRead(pipeWire, RawVideoFormat::nv12, "NV12", 10).size(), 9u);
}

TEST(PipeWireCamera, saysWhereNoDaemonAnswersAndWhatMendsIt) {
  const TemporaryFolder folder;
  PipeWireCamera camera(folder / "pipewire-0");
  const TestPictures pictures;
  camera.deliver(*pictures.sample(0));
  ASSERT_TRUE(eventually([&] { return camera.whyUnavailable()->starts_with("PipeWire"); }));
  EXPECT_EQ(*camera.whyUnavailable(),
            "PipeWire does not answer at " + (folder / "pipewire-0") +
                " (No such file or directory): start it with `systemctl --user start pipewire "
                "wireplumber`, or use --virtual-camera embedded");
  EXPECT_EQ(camera.whyUnavailable(), PipeWireCamera::whyNoDaemon(folder / "pipewire-0"));
}

}  // namespace
}  // namespace quorvex::test
