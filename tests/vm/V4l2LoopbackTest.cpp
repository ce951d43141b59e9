#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <filesystem>
#include <set>
#include <thread>

#include "linux/vcam/V4l2LoopbackCamera.h"
#include "vcam/TestPictures.h"

// Run in a virtual machine (run.sh) with the real driver, whose device is /dev/video42.
namespace quorvex::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
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
    const auto* bytes = mappings.at(buffer.index);
    Bytes copy(bytes, bytes + buffer.bytesused);
    return asked(VIDIOC_QBUF, &buffer) ? copy : Bytes();
  }
  [[nodiscard]] int number(RawVideoFormat format = RawVideoFormat::nv12) const {
    const Bytes bytes = frame();
    return bytes.size() == rawVideoBytes(format) ? TestPictures::numberIn(bytes, format)
                                                 : TestPictures::kGarbled;
  }
  [[nodiscard]] bool asked(unsigned long request, void* argument) const {
    return ::ioctl(node.get(), request, argument) == 0;
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

std::ptrdiff_t openFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
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
