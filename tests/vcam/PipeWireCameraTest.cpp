#include <gmock/gmock.h>

#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "linux/vcam/PipeWireCamera.h"
#include "support/Eventually.h"
#include "support/PrivatePipeWire.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using namespace testing;

TEST(PipeWireCamera, isACameraThatReachesReadersOfEachFormatPixelByPixelAndInOrder) {
  const PrivatePipeWire pipeWire;
  PipeWireCamera camera{pipeWire.remote()};
  ASSERT_TRUE(eventually([&] { return camera.available(); })) << *camera.whyUnavailable();
  const std::string dumped = pipeWire.folder / "dump";
  ChildProcess dump({"pw-dump", "quorvex_camera"}, "pipewire-bin", dumped, pipeWire.environment());
  ASSERT_EQ(dump.exitCode(), 0);
  const auto properties = nlohmann::json::parse(contentOf(dumped)).at(0)["info"]["props"];
  EXPECT_EQ(properties["media.class"], "Video/Source");
  EXPECT_EQ(properties["media.role"], "Camera");
  EXPECT_EQ(properties["node.description"], "Quorvex Camera");
  EXPECT_FALSE(camera.watched());

  /// The pictures that an independent reader is given.
  const auto numbersRead = [&](RawVideoFormat format, const std::string& caps, int frames) {
    const std::string file = pipeWire.folder / caps;
    ChildProcess reader({"gst-launch-1.0", "pipewiresrc", "target-object=quorvex_camera",
                         "num-buffers=" + std::to_string(frames), "!",
                         "video/x-raw,format=" + caps + ",width=1280,height=720,framerate=30/1",
                         "!", "filesink", "location=" + file},
                        "gstreamer1.0-tools, and its source with gstreamer1.0-pipewire",
                        file + ".log", pipeWire.environment());
    EXPECT_EQ(reader.exitCode(), 0) << contentOf(file + ".log");
    std::ifstream pictures(file, std::ios::binary);
    Bytes frame(rawVideoBytes(format));
    const auto size = static_cast<std::streamsize>(frame.size());
    std::vector<int> numbers;
    while (pictures.read(reinterpret_cast<char*>(frame.data()), size))
      numbers.push_back(TestPictures::numberIn(frame, format));
    return numbers;
  };
  auto reading = std::async([&] { return numbersRead(RawVideoFormat::nv12, "NV12", 2); });
  EXPECT_TRUE(eventually([&] { return camera.watched(); }));
  EXPECT_THAT(reading.get(), ElementsAre(TestPictures::kGrey, TestPictures::kGrey)) << "repeated";
  EXPECT_TRUE(eventually([&] { return !camera.watched(); }));

  const std::jthread deliveries([&](const std::stop_token& stop) {
    const TestPictures pictures;
    auto due = std::chrono::steady_clock::now();
    for (int number = 0; !stop.stop_requested(); ++number) {
      if (const auto sample = pictures.sample(number % TestPictures::kNumbers))
        camera.deliver(*sample);
      std::this_thread::sleep_until(due += std::chrono::microseconds(33333));
    }
  });
  constexpr std::pair<RawVideoFormat, const char*> kOffered[] = {{RawVideoFormat::nv12, "NV12"},
                                                                 {RawVideoFormat::i420, "I420"},
                                                                 {RawVideoFormat::yuy2, "YUY2"}};
  for (const auto& [format, caps] : kOffered) {
    SCOPED_TRACE(caps);
    auto numbers = numbersRead(format, caps, 10);
    EXPECT_THAT(numbers, Each(Lt(TestPictures::kNumbers)));
    std::erase(numbers, TestPictures::kGrey);  // which it may begin with
    const auto goesBack = [](int one, int next) { return (next - one + 220) % 220 > 110; };
    EXPECT_EQ(std::ranges::adjacent_find(numbers, goesBack), numbers.end());
    // A busy machine may lose some on the way, but a camera that stammers is none.
    EXPECT_GE(std::set(numbers.begin(), numbers.end()).size(), 7u);
  }
}

}  // namespace
}  // namespace quorvex::test
