#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <fstream>
#include <future>

#include "linux/vcam/EmbeddedCamera.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* kHeader = "YUV4MPEG2 W1280 H720 F30:1";

/// Reads the embedded camera's stream from a raw socket, and takes nothing for granted.
class Y4mClient {
 public:
  explicit Y4mClient(const std::string& path) : connection(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval patience{20, 0};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      error = errno;
  }

  /// The stream's next bytes, fewer when it ends; rests after every 16 KiB.
  [[nodiscard]] std::string read(std::size_t count, std::chrono::milliseconds rest = {}) const {
    std::string bytes, chunk(16384, 0);
    while (bytes.size() < count) {
      const auto wanted = std::min(count - bytes.size(), chunk.size());
      const auto got = ::recv(connection.get(), chunk.data(), wanted, 0);
      if (got <= 0) break;
      bytes.append(chunk, 0, static_cast<std::size_t>(got));
      if (rest.count() > 0) std::this_thread::sleep_for(rest);
    }
    return bytes;
  }

  /// The line that the stream begins with; as much as came of it when it is cut off.
  [[nodiscard]] std::string header() const {
    std::string line;
    for (std::string byte; !line.ends_with('\n') && !(byte = read(1)).empty();) line += byte;
    return line;
  }

  /// Waits for one frame; its picture's number.
  [[nodiscard]] int frame(std::chrono::milliseconds rest = {}) const {
    const auto bytes = read(6 + rawVideoBytes(RawVideoFormat::i420), rest);
    if (!bytes.starts_with("FRAME\n")) return TestPictures::kGarbled;
    return TestPictures::numberIn({bytes.begin() + 6, bytes.end()}, RawVideoFormat::i420);
  }

  /// Reads on to the first picture with that number or a higher one.
  [[nodiscard]] int pictureFrom(int number) const {
    for (;;)
      if (const int got = frame(); got >= number) return got;
  }

  int error = 0;  ///< what kept it from connecting

 private:
  UniqueFd connection;
};

class EmbeddedCameraTest : public ::testing::Test {
 protected:
  void deliver(int number) {
    const auto sample = pictures.sample(number);
    ASSERT_TRUE(sample) << "the camera holds on to old pictures";
    camera->deliver(*sample);
  }
  static std::string problemAt(const std::string& path) {
    return EmbeddedCamera(path, [](auto) {}).whyUnavailable().value_or("nothing");
  }
  /// How the child ends in which `task` runs.
  static int inAChild(const std::function<int()>& task) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(task());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
  }

  const TemporaryFolder folder;
  const std::string path = folder / "camera";
  const TestPictures pictures;
  std::atomic<int> lines{0};
  std::optional<EmbeddedCamera> camera{std::in_place, path, [this](auto) { ++lines; }};
};

TEST_F(EmbeddedCameraTest, givesEachReaderWholeFramesInOrder) {
  constexpr int kLast = 60;
  const auto readToTheLast = [&](int rest) {
    const Y4mClient client(path);
    EXPECT_THAT(client.header(), HasSubstr(kHeader));
    std::vector<int> numbers{client.frame(std::chrono::milliseconds(rest))};
    while (numbers.back() < kLast) numbers.push_back(client.frame(std::chrono::milliseconds(rest)));
    EXPECT_EQ(numbers.back(), kLast);
    EXPECT_TRUE(std::ranges::is_sorted(numbers)) << ::testing::PrintToString(numbers);
    return numbers.size();
  };
  auto quick = std::async(std::launch::async, readToTheLast, 0);
  auto slow = std::async(std::launch::async, readToTheLast, 1);
  ASSERT_TRUE(eventually([&] { return camera->watched(); }));
  for (int number = 0; number <= kLast; ++number) deliver(number);
  EXPECT_LT(slow.get(), quick.get());
}

TEST_F(EmbeddedCameraTest, isHeldUpByNoReaderThatStallsOrVanishesAndTurnsAwayTooMany) {
  std::vector<Y4mClient> stalled;
  for (int i = 1; i < EmbeddedCamera::kMostReaders - 1; ++i)
    EXPECT_EQ(stalled.emplace_back(path).read(1000 * i).size(), 1000u * i);
  const Y4mClient reads(path);
  EXPECT_THAT(reads.header(), HasSubstr(kHeader));
  for (int number = 0; number < 30; ++number) {
    (void)Y4mClient(path).read(1000 * static_cast<std::size_t>(number));
    deliver(number);
    ASSERT_EQ(reads.pictureFrom(number), number);
  }
  std::optional<Y4mClient> last;
  EXPECT_TRUE(eventually([&] { return last.emplace(path).header() != ""; }));
  lines = 0;
  EXPECT_EQ(Y4mClient(path).header(), "");
  EXPECT_EQ(lines, 1);
}

TEST_F(EmbeddedCameraTest, isReadByFfmpegPixelByPixel) {
  deliver(7);
  const std::string file = folder / "frames.yuv";
  ChildProcess ffmpeg({"ffmpeg", "-nostdin", "-loglevel", "error", "-f", "yuv4mpegpipe", "-i",
                       "unix:" + path, "-frames:v", "3", "-f", "rawvideo", file},
                      "ffmpeg", folder / "ffmpeg.log");
  // It looks at the first frame before it takes the next ones.
  ASSERT_TRUE(eventually([&] { return camera->watched(); }));
  deliver(8);
  ASSERT_EQ(ffmpeg.exitCode(), 0) << std::ifstream(folder / "ffmpeg.log").rdbuf();
  EXPECT_THAT(TestPictures::numbersIn(file, RawVideoFormat::i420),
              ElementsAre(AnyOf(7, 8), AnyOf(7, 8), 8));
}

TEST_F(EmbeddedCameraTest, repeatsTheLastPictureWhileNoneComes) {
  const Y4mClient early(path);
  EXPECT_NE(early.header(), "");
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(early.frame(), TestPictures::kGrey);
  EXPECT_EQ(early.frame(), TestPictures::kGrey);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
  deliver(3);
  EXPECT_EQ(early.pictureFrom(3), 3);
  EXPECT_EQ(early.frame(), 3);
  const Y4mClient late(path);
  EXPECT_NE(late.header(), "");
  EXPECT_EQ(late.frame(), 3);
}

TEST_F(EmbeddedCameraTest, letsNobodyElseConnect) {
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(path).permissions(), perms(0600));
  if (::geteuid() != 0) GTEST_SKIP() << "only root can try it as another user";
  std::filesystem::permissions(folder / "", perms::all);
  EXPECT_EQ(inAChild([&] { return ::setuid(65534) == 0 ? Y4mClient(path).error : 0; }), EACCES);
}

TEST_F(EmbeddedCameraTest, takesOverFromAProcessThatDiedAndFromNothingElse) {
  EXPECT_THAT(problemAt(path), HasSubstr("another running Quorvex Camera serves it"));
  EXPECT_EQ(Y4mClient(path).error, 0);
  // A server that knows nothing of our lock.
  std::filesystem::rename(path, folder / "foreign");
  EXPECT_THAT(problemAt(folder / "foreign"), HasSubstr("another program serves it"));
  std::ofstream(folder / "letter") << "Dear Sir";
  EXPECT_THAT(problemAt(folder / "letter"), HasSubstr("there is a file of that name"));
  EXPECT_TRUE(std::filesystem::remove(folder / "letter"));
  EXPECT_THAT(problemAt(folder / "nowhere/camera"), HasSubstr("No such file or directory"));
  EXPECT_THAT(problemAt(folder / std::string(120, 'x')), HasSubstr("107 bytes"));

  camera.reset();
  std::filesystem::remove(folder / "foreign");
  const auto crash = [&] {
    camera.emplace(path, [](auto) {});
    return camera->available() ? 0 : 1;
  };
  ASSERT_EQ(inAChild(crash), 0);
  EXPECT_EQ(problemAt(path), "nothing");
  EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

}  // namespace
}  // namespace quorvex::test
