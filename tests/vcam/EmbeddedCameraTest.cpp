#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
using ::testing::StartsWith;

constexpr auto kNoLog = [](std::string_view) {};

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
  Bytes read(std::size_t count, std::chrono::milliseconds rest = {}) const {
    Bytes bytes, chunk(16384);
    while (bytes.size() < count) {
      const auto wanted = std::min(count - bytes.size(), chunk.size());
      const auto got = ::recv(connection.get(), chunk.data(), wanted, 0);
      if (got <= 0) break;
      bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + got);
      if (rest.count() > 0) std::this_thread::sleep_for(rest);
    }
    return bytes;
  }

  /// The line that the stream begins with; as much as came of it when it is cut off.
  [[nodiscard]] std::string header() const {
    std::string line;
    for (Bytes byte; !line.ends_with('\n') && !(byte = read(1)).empty();)
      line += static_cast<char>(byte[0]);
    return line;
  }

  /// Waits for one frame; its picture's number.
  [[nodiscard]] int frame(std::chrono::milliseconds rest = {}) const {
    const std::string mark = "FRAME\n";
    const Bytes bytes = read(mark.size() + rawVideoBytes(RawVideoFormat::i420), rest);
    if (!std::string(bytes.begin(), bytes.end()).starts_with(mark)) return TestPictures::kGarbled;
    return TestPictures::numberIn(std::span(bytes).subspan(mark.size()), RawVideoFormat::i420);
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
  void deliver(EmbeddedCamera& camera, int number) {
    const auto sample = pictures.sample(number);
    ASSERT_TRUE(sample) << "the camera holds on to old pictures";
    camera.deliver(*sample);
  }
  static std::string problemAt(const std::string& path) {
    return EmbeddedCamera(path, kNoLog).whyUnavailable().value_or("nothing");
  }

  const TemporaryFolder folder;
  const std::string path = folder / "camera";
  const TestPictures pictures;
};

TEST_F(EmbeddedCameraTest, givesEachReaderWholeFramesInOrder) {
  EmbeddedCamera camera(path, kNoLog);
  ASSERT_FALSE(camera.whyUnavailable());
  constexpr int kLast = 60;
  const auto readToTheLast = [&](std::chrono::milliseconds rest) {
    const Y4mClient client(path);
    EXPECT_THAT(client.header(), StartsWith("YUV4MPEG2 W1280 H720 F30:1"));
    std::vector<int> numbers{client.frame(rest)};
    while (numbers.back() < kLast) numbers.push_back(client.frame(rest));
    return numbers;
  };
  auto quick = std::async(std::launch::async, readToTheLast, std::chrono::milliseconds(0));
  auto slow = std::async(std::launch::async, readToTheLast, std::chrono::milliseconds(1));
  ASSERT_TRUE(eventually([&] { return camera.watched(); }));
  for (int number = 0; number <= kLast; ++number) deliver(camera, number);

  const auto some = quick.get();
  const auto fewer = slow.get();
  for (const auto& numbers : {some, fewer}) {
    EXPECT_EQ(numbers.back(), kLast);
    EXPECT_TRUE(std::ranges::is_sorted(numbers)) << ::testing::PrintToString(numbers);
  }
  EXPECT_LT(fewer.size(), some.size());
}

TEST_F(EmbeddedCameraTest, isNotHeldUpByReadersThatStallOrVanish) {
  EmbeddedCamera camera(path, kNoLog);
  const Y4mClient neverReads(path);
  const Y4mClient stopsInAFrame(path);
  (void)stopsInAFrame.read(1000);
  const Y4mClient reads(path);
  EXPECT_THAT(reads.header(), StartsWith("YUV4MPEG2"));
  for (int number = 0; number < 30; ++number) {
    (void)Y4mClient(path).read(1000 * static_cast<std::size_t>(number));
    deliver(camera, number);
    ASSERT_EQ(reads.pictureFrom(number), number);
  }
}

TEST_F(EmbeddedCameraTest, isReadByFfmpegPixelByPixel) {
  EmbeddedCamera camera(path, kNoLog);
  deliver(camera, 7);
  const std::string file = folder / "frames.yuv";
  ChildProcess ffmpeg({"ffmpeg", "-nostdin", "-loglevel", "error", "-f", "yuv4mpegpipe", "-i",
                       "unix:" + path, "-frames:v", "3", "-f", "rawvideo", file},
                      "ffmpeg", folder / "ffmpeg.log");
  // It looks at the first frame before it takes the next ones.
  ASSERT_TRUE(eventually([&] { return camera.watched(); }));
  deliver(camera, 8);
  ASSERT_EQ(ffmpeg.exitCode(), 0) << std::ifstream(folder / "ffmpeg.log").rdbuf();
  EXPECT_THAT(TestPictures::numbersIn(file, RawVideoFormat::i420),
              ElementsAre(AnyOf(7, 8), AnyOf(7, 8), 8));
}

TEST_F(EmbeddedCameraTest, repeatsTheLastPictureWhileNoneComes) {
  EmbeddedCamera camera(path, kNoLog);
  const Y4mClient early(path);
  EXPECT_THAT(early.header(), StartsWith("YUV4MPEG2"));
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(early.frame(), TestPictures::kGrey);
  EXPECT_EQ(early.frame(), TestPictures::kGrey);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
  deliver(camera, 3);
  EXPECT_EQ(early.pictureFrom(3), 3);
  EXPECT_EQ(early.frame(), 3);
  const Y4mClient late(path);
  EXPECT_NE(late.header(), "");
  EXPECT_EQ(late.frame(), 3);
}

TEST_F(EmbeddedCameraTest, letsNobodyElseConnect) {
  const EmbeddedCamera camera(path, kNoLog);
  struct stat made {};
  ASSERT_EQ(::stat(path.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777, 0600u);
  if (::geteuid() != 0) GTEST_SKIP() << "only root can try it as another user";
  std::filesystem::permissions(folder / "", std::filesystem::perms::all);
  const pid_t other = ::fork();
  if (other == 0) ::_exit(::setuid(65534) == 0 ? Y4mClient(path).error : 0);
  int status = 0;
  ::waitpid(other, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), EACCES);
}

TEST_F(EmbeddedCameraTest, takesOverFromAProcessThatDiedAndFromNoOther) {
  const pid_t crashes = ::fork();
  if (crashes == 0) {
    EmbeddedCamera camera(path, kNoLog);
    ::_exit(camera.available() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(crashes, &status, 0);
  ASSERT_EQ(status, 0);
  {
    const EmbeddedCamera camera(path, kNoLog);
    EXPECT_TRUE(camera.available());
    EXPECT_THAT(problemAt(path), HasSubstr("another running Quorvex Camera serves it"));
    EXPECT_EQ(Y4mClient(path).error, 0);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

TEST_F(EmbeddedCameraTest, saysWhatIsWrongWithItsPath) {
  // A server that knows nothing of our lock.
  const EmbeddedCamera foreign(path, kNoLog);
  std::filesystem::rename(path, folder / "foreign");
  EXPECT_THAT(problemAt(folder / "foreign"), HasSubstr("another program serves it"));
  std::ofstream(folder / "letter") << "Dear Sir";
  EXPECT_THAT(problemAt(folder / "letter"), HasSubstr("there is a file of that name"));
  EXPECT_TRUE(std::filesystem::exists(folder / "letter"));
  EXPECT_THAT(problemAt(folder / "nowhere/camera"), HasSubstr("No such file or directory"));
  EXPECT_THAT(problemAt(folder / std::string(120, 'x')), HasSubstr("107 bytes"));
}

TEST_F(EmbeddedCameraTest, turnsAwayMoreReadersThanItCanServe) {
  std::atomic<int> lines{0};
  EmbeddedCamera camera(path, [&](std::string_view) { ++lines; });
  std::vector<Y4mClient> clients;
  for (int i = 0; i < EmbeddedCamera::kMostReaders; ++i)
    EXPECT_NE(clients.emplace_back(path).header(), "");
  EXPECT_EQ(Y4mClient(path).header(), "");
  EXPECT_EQ(lines, 1);
  clients.pop_back();
  EXPECT_TRUE(eventually([&] { return Y4mClient(path).header() != ""; }));
}

}  // namespace
}  // namespace quorvex::test
