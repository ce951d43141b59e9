#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <cstdlib>
#include <mutex>

#include "linux/driver/LoopbackModule.h"
#include "linux/vcam/V4l2LoopbackCamera.h"
#include "support/Eventually.h"
#include "vcam/TestPictures.h"

// Run in a virtual machine (run.sh) with the real driver, loaded as the variable LOAD_V4L2LOOPBACK
// says; its device is /dev/video42.
namespace quorvex::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* kNode = "/dev/video42";

/// A program that reads the camera, and takes nothing for granted.
class Reader {
 public:
  explicit Reader(unsigned wantedBuffers = 4) : node(::open(kNode, O_RDWR | O_CLOEXEC)) {
    v4l2_requestbuffers request{};
    request.count = wantedBuffers;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (!asked(VIDIOC_REQBUFS, &request)) return;
    for (unsigned index = 0; index < request.count; ++index) {
      v4l2_buffer buffer = numbered(index);
      if (!asked(VIDIOC_QUERYBUF, &buffer)) return;
      length = buffer.length;
      void* bytes = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, node.get(), buffer.m.offset);
      mappings.push_back(static_cast<std::uint8_t*>(bytes));
      if (!asked(VIDIOC_QBUF, &buffer)) return;
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    streaming = asked(VIDIOC_STREAMON, &type);
  }
  ~Reader() {
    for (auto* bytes : mappings) ::munmap(bytes, length);
  }

  /// Waits for a picture; empty when none comes within five seconds.
  [[nodiscard]] Bytes frame() const {
    pollfd readable{node.get(), POLLIN, 0};
    v4l2_buffer buffer = numbered(0);
    if (!streaming || ::poll(&readable, 1, 5000) != 1 || !asked(VIDIOC_DQBUF, &buffer)) return {};
    place = buffer.index;
    Bytes copy(mappings.at(place), mappings.at(place) + buffer.bytesused);
    return asked(VIDIOC_QBUF, &buffer) ? copy : Bytes();
  }
  [[nodiscard]] int number(RawVideoFormat format = RawVideoFormat::nv12) const {
    const Bytes bytes = frame();
    return bytes.size() == rawVideoBytes(format) ? TestPictures::numberIn(bytes, format)
                                                 : TestPictures::kGarbled;
  }
  /// The buffer that the last picture lay in.
  mutable unsigned place = 0;

  [[nodiscard]] bool asked(unsigned long request, void* argument) const {
    return ::ioctl(node.get(), request, argument) == 0;
  }
  [[nodiscard]] std::uint32_t capabilities() const {
    v4l2_capability capability{};
    return asked(VIDIOC_QUERYCAP, &capability) ? capability.device_caps : 0;
  }

 private:
  static v4l2_buffer numbered(unsigned index) {
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = index;
    return buffer;
  }

  UniqueFd node;
  std::vector<std::uint8_t*> mappings;
  std::size_t length = 0;
  bool streaming = false;
};

int run(const char* command) {
  return WEXITSTATUS(std::system(command));
}
int load() {
  return run(std::getenv("LOAD_V4L2LOOPBACK"));
}

std::size_t openFiles() {
  std::size_t count = 0;
  DIR* files = ::opendir("/proc/self/fd");
  while (::readdir(files)) ++count;
  ::closedir(files);
  return count;
}

class V4l2LoopbackTest : public ::testing::Test {
 protected:
  static std::unique_ptr<V4l2LoopbackCamera> make(RawVideoFormat format = RawVideoFormat::nv12) {
    return std::make_unique<V4l2LoopbackCamera>(
        format, [](std::string_view line) { log += std::string(line) + "\n"; });
  }
  /// Delivers pictures at ten a second, which the slowest reader here can tell apart, while it
  /// lives.
  std::jthread deliveries() {
    return std::jthread([this](const std::stop_token& stop) {
      auto due = steady_clock::now();
      for (int number = 0; !stop.stop_requested(); ++number) {
        camera->deliver(samples[static_cast<std::size_t>(number) % samples.size()]);
        std::this_thread::sleep_until(due += milliseconds(100));
      }
    });
  }
  /// Numbers of so many pictures, one after the other, without the grey one at the beginning.
  static std::vector<int> numbers(const Reader& reader, std::size_t count,
                                  RawVideoFormat format = RawVideoFormat::nv12) {
    std::vector<int> read;
    while (read.size() < count)
      if (const int number = reader.number(format); number != TestPictures::kGrey)
        read.push_back(number);
    return read;
  }
  static void expectWholeAndMoving(const std::vector<int>& read) {
    EXPECT_THAT(read, ::testing::Each(::testing::Lt(TestPictures::kNumbers)))
        << ::testing::PrintToString(read);
    EXPECT_GT(std::set(read.begin(), read.end()).size(), 1u);
  }

  static std::vector<CMSampleBuffer> makeSamples() {
    static const TestPictures pictures;
    std::vector<CMSampleBuffer> made;
    for (int number = 0; number < 20; ++number) made.push_back(*pictures.sample(number));
    return made;
  }
  static inline std::string log;
  static inline const std::vector<CMSampleBuffer> samples = makeSamples();
  std::unique_ptr<V4l2LoopbackCamera> camera = make();
};

TEST_F(V4l2LoopbackTest, isACameraOfOneFormatAsLongAsItIsFed) {
  ASSERT_TRUE(camera->available()) << *camera->whyUnavailable();
  EXPECT_EQ(LoopbackModule::findCamera().value().node, kNode);
  const Reader reader;
  constexpr auto kBoth = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT;
  EXPECT_EQ(reader.capabilities() & kBoth, V4L2_CAP_VIDEO_CAPTURE);
  v4l2_fmtdesc format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  EXPECT_TRUE(reader.asked(VIDIOC_ENUM_FMT, &format));
  EXPECT_EQ(format.pixelformat, V4L2_PIX_FMT_NV12);
  v4l2_frmsizeenum size{};
  size.pixel_format = format.pixelformat;
  EXPECT_TRUE(reader.asked(VIDIOC_ENUM_FRAMESIZES, &size));
  EXPECT_EQ(size.type, V4L2_FRMSIZE_TYPE_DISCRETE);
  EXPECT_THAT((std::vector{size.discrete.width, size.discrete.height}), ElementsAre(1280, 720));
}

TEST_F(V4l2LoopbackTest, reachesReadersPixelByPixelAndInOrder) {
  for (const auto format : {RawVideoFormat::nv12, RawVideoFormat::yuy2}) {
    camera.reset();
    camera = make(format);
    const auto running = deliveries();
    const auto read = numbers(Reader(), 12, format);
    expectWholeAndMoving(read);
    const auto goesBack = [](int one, int next) { return (next - one + 20) % 20 > 10; };
    EXPECT_EQ(std::ranges::adjacent_find(read, goesBack), read.end())
        << ::testing::PrintToString(read);
  }
}

TEST_F(V4l2LoopbackTest, neverStarvesAReaderWhileNothingIsDelivered) {
  const Reader reader;
  camera->deliver(samples[7]);
  while (reader.number() != 7) continue;
  for (int i = 0; i < 8; ++i) {
    const auto before = steady_clock::now();
    EXPECT_EQ(reader.frame().size(), rawVideoBytes(RawVideoFormat::nv12));
    EXPECT_LT(steady_clock::now() - before, milliseconds(900));
  }
  EXPECT_EQ(reader.number(), 7);
}

TEST_F(V4l2LoopbackTest, isDisturbedByNoReaderThatIsKilledOrStallsOrTakesBuffersAway) {
  const auto running = deliveries();
  for (int i = 0; i < 5; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      const Reader doomed;
      while (doomed.frame().empty() || i % 2 == 0) continue;
      ::pause();
    }
    std::this_thread::sleep_for(milliseconds(300));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
  }
  expectWholeAndMoving(numbers(Reader(), 6));
  for (const unsigned buffers : {3u, 2u}) {
    EXPECT_NE(Reader(buffers).number(), TestPictures::kGarbled);
    expectWholeAndMoving(numbers(Reader(), 6));
  }
  EXPECT_TRUE(camera->available());
}

TEST_F(V4l2LoopbackTest, letsItsDriverBeLoadedAnewAndGoesOn) {
  EXPECT_NE(run("rmmod v4l2loopback 2>&1"), 0) << "it is in use";
  camera->release();
  EXPECT_THAT(*camera->whyUnavailable(), HasSubstr("released"));
  ASSERT_EQ(run("rmmod v4l2loopback"), 0);
  EXPECT_FALSE(LoopbackModule::findCamera());
  ASSERT_EQ(load(), 0);
  ASSERT_TRUE(eventually([&] { return camera->available(); })) << *camera->whyUnavailable();
  const auto running = deliveries();
  expectWholeAndMoving(numbers(Reader(), 6));
}

TEST_F(V4l2LoopbackTest, takesTheBuffersInTurnsThatAReaderHasLeft) {
  ASSERT_NE(Reader(3).number(), TestPictures::kGarbled);
  camera.reset();
  camera = make();
  const Reader reader;
  std::vector<unsigned> places;
  for (std::size_t number = 0; number < 6; ++number) {
    camera->deliver(samples[number]);
    while (reader.number() != static_cast<int>(number)) continue;
    places.push_back(reader.place);
  }
  EXPECT_EQ(std::ranges::adjacent_find(places), places.end()) << ::testing::PrintToString(places);
}

TEST_F(V4l2LoopbackTest, waitsForADeviceThatIsNotThereOrFedByAnother) {
  camera.reset();
  ASSERT_EQ(run("rmmod v4l2loopback"), 0);
  camera = make();
  EXPECT_THAT(*camera->whyUnavailable(), HasSubstr("There is no v4l2loopback device"));
  EXPECT_FALSE(camera->fedByAnother());
  ASSERT_EQ(load(), 0);
  ASSERT_TRUE(eventually([&] { return camera->available(); })) << *camera->whyUnavailable();
  auto second = make();
  EXPECT_TRUE(second->fedByAnother());
  EXPECT_EQ(*second->whyUnavailable(),
            "Another program feeds the camera at /dev/video42: end that one first");
  camera.reset();
  EXPECT_TRUE(eventually([&] { return second->available(); })) << *second->whyUnavailable();
}

TEST_F(V4l2LoopbackTest, mendsADeviceThatAProgramHasWrittenTo) {
  camera.reset();
  {
    const UniqueFd writer(::open(kNode, O_RDWR | O_CLOEXEC));
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
    format.fmt.pix.width = 640;
    format.fmt.pix.height = 480;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    ASSERT_EQ(::ioctl(writer.get(), VIDIOC_S_FMT, &format), 0);
    const Bytes frame(640 * 480 * 2);
    ASSERT_EQ(::write(writer.get(), frame.data(), frame.size()), 640 * 480 * 2);
    camera = make();
    EXPECT_TRUE(camera->fedByAnother());
  }
  ASSERT_TRUE(eventually([&] { return camera->available(); })) << *camera->whyUnavailable();
  const auto running = deliveries();
  expectWholeAndMoving(numbers(Reader(), 6));
}

TEST_F(V4l2LoopbackTest, staysWithTheFormatThatAReaderHoldsOnTo) {
  auto reader = std::make_unique<Reader>();
  camera.reset();
  log.clear();
  camera = make(RawVideoFormat::yuy2);
  const auto running = deliveries();
  expectWholeAndMoving(numbers(*reader, 6));
  EXPECT_THAT(log, HasSubstr("stays with NV12 instead of YUYV"));
}

TEST_F(V4l2LoopbackTest, leaksNothingInTenThousandReaders) {
  const auto running = deliveries();
  expectWholeAndMoving(numbers(Reader(), 6));
  const auto before = openFiles();
  for (int i = 0; i < 10000; ++i) {
    const UniqueFd prober(::open(kNode, O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(prober) << i;
    if (i % 10 == 0) {
      ASSERT_FALSE(Reader().frame().empty()) << i;
    }
  }
  EXPECT_EQ(openFiles(), before);
  expectWholeAndMoving(numbers(Reader(), 6));
}

}  // namespace
}  // namespace quorvex::test
