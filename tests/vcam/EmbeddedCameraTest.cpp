#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <fstream>

#include "linux/vcam/EmbeddedCamera.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using ::testing::HasSubstr;

constexpr std::string_view kHeader =
    "YUV4MPEG2 W1280 H720 F30:1 Ip A1:1 C420mpeg2 XYSCSS=420MPEG2 XCOLORRANGE=LIMITED\n";

/// Reads the embedded camera's stream from a raw socket, and takes nothing for granted.
class Y4mClient {
 public:
  explicit Y4mClient(const std::string& path) : connection(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      error = errno;
  }

  /// The stream's next bytes, fewer when it ends.
  [[nodiscard]] std::string read(std::size_t count) const {
    std::string bytes(count, 0);
    const auto got = ::recv(connection.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
  }
  [[nodiscard]] bool begins() const { return read(kHeader.size()) == kHeader; }
  /// Waits for one frame; its picture's number.
  [[nodiscard]] int frame() const {
    const auto bytes = read(6 + rawVideoBytes(RawVideoFormat::i420));
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

  const TemporaryFolder folder;
  const std::string path = folder / "camera";
  const TestPictures pictures;
  std::atomic<int> lines{0};
  std::optional<EmbeddedCamera> camera{std::in_place, path, [this](auto) { ++lines; }};
};

TEST_F(EmbeddedCameraTest, givesEachReaderWholeFramesInOrderHeldUpByNoneAndTurnsAwayTooMany) {
  constexpr int kLast = 29;
  const Y4mClient slow(path);
  EXPECT_TRUE(slow.begins());
  std::vector<int> seen{slow.frame()};
  std::vector<Y4mClient> stalled;
  for (int i = 1; i < EmbeddedCamera::kMostReaders - 2; ++i)
    EXPECT_EQ(stalled.emplace_back(path).read(1000 * i).size(), 1000u * i);
  const Y4mClient reads(path);
  EXPECT_TRUE(reads.begins());
  for (int number = 0; number <= kLast; ++number) {
    (void)Y4mClient(path).read(1000 * static_cast<std::size_t>(number));
    deliver(number);
    ASSERT_EQ(reads.pictureFrom(number), number);
  }
  while (seen.back() < kLast) seen.push_back(slow.frame());
  EXPECT_EQ(seen.back(), kLast);
  EXPECT_LT(seen.size(), 1u + kLast);
  EXPECT_TRUE(std::ranges::is_sorted(seen)) << ::testing::PrintToString(seen);
  lines = 0;
  EXPECT_TRUE(eventually([&] { return !stalled.emplace_back(path).begins(); }));
  EXPECT_GE(stalled.size(), EmbeddedCamera::kMostReaders - 2u) << "one that left may count yet";
  EXPECT_EQ(lines, 1);
}

TEST_F(EmbeddedCameraTest, repeatsTheLastPictureWhileNoneComes) {
  const Y4mClient early(path);
  EXPECT_TRUE(early.begins());
  EXPECT_EQ(early.frame(), TestPictures::kGrey);
  deliver(3);
  EXPECT_EQ(early.pictureFrom(3), 3);
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(early.frame(), 3);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(700));
  const Y4mClient late(path);
  EXPECT_TRUE(late.begins());
  EXPECT_EQ(late.frame(), 3);
}

TEST_F(EmbeddedCameraTest, takesOverFromAProcessThatDiedAndFromNothingElse) {
  EXPECT_THAT(problemAt(path), HasSubstr("another running Quorvex Camera serves it"));
  EXPECT_EQ(Y4mClient(path).error, 0);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
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
  int ended = 1;
  if (::fork() == 0) {
    camera.emplace(path, [](auto) {});
    ::_exit(camera->available() ? 0 : 1);
  }
  ::wait(&ended);
  ASSERT_EQ(ended, 0);
  EXPECT_EQ(problemAt(path), "nothing");
  EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

}  // namespace
}  // namespace quorvex::test
