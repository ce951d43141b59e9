#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <future>

#include "linux/vcam/EmbeddedCamera.h"
#include "vcam/ChildProcess.h"
#include "vcam/Eventually.h"
#include "vcam/TemporaryFolder.h"
#include "vcam/Y4mClient.h"

namespace quorvex::test {
namespace {

using ::testing::AnyOf;
using ::testing::Each;
using ::testing::HasSubstr;

constexpr auto kNoLog = [](std::string_view) {};

class EmbeddedCameraTest : public ::testing::Test {
 protected:
  void deliver(EmbeddedCamera& camera, int number) {
    const auto sample = pictures.sample(number);
    ASSERT_TRUE(sample) << "the camera holds on to old pictures";
    camera.deliver(*sample);
  }

  const TemporaryFolder folder;
  const std::string path = folder / "camera";
  const TestPictures pictures;
};

TEST_F(EmbeddedCameraTest, givesEachReaderWholeFramesInOrder) {
  EmbeddedCamera camera(path, kNoLog);
  ASSERT_FALSE(camera.whyUnavailable());
  constexpr int kLast = 60;
  const auto readToTheLast = [&](std::size_t pauseEvery) {
    Y4mClient client(path);
    EXPECT_EQ(client.header(),
              "YUV4MPEG2 W1280 H720 F30:1 Ip A1:1 C420mpeg2 XYSCSS=420MPEG2 "
              "XCOLORRANGE=LIMITED\n");
    std::vector<int> numbers{client.frame(pauseEvery)};
    while (numbers.back() >= Y4mClient::kGrey && numbers.back() < kLast)
      numbers.push_back(client.frame(pauseEvery));
    return numbers;
  };
  auto quick = std::async(std::launch::async, readToTheLast, 0);
  auto slow = std::async(std::launch::async, readToTheLast, 16384);
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
  Y4mClient stopsInAFrame(path);
  stopsInAFrame.skip(1000);
  Y4mClient reads(path);
  EXPECT_THAT(reads.header(), HasSubstr("YUV4MPEG2"));
  for (int number = 0; number < 30; ++number) {
    Y4mClient vanishes(path);
    vanishes.skip(1000 * static_cast<std::size_t>(number));
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
  std::ifstream stream(file, std::ios::binary);
  const Bytes content{std::istreambuf_iterator<char>(stream), {}};
  const std::size_t size = rawVideoBytes(RawVideoFormat::i420);
  ASSERT_EQ(content.size(), 3 * size);
  std::vector<int> numbers;
  for (std::size_t at = 0; at < content.size(); at += size)
    numbers.push_back(
        TestPictures::numberIn(std::span(content).subspan(at, size), RawVideoFormat::i420)
            .value_or(Y4mClient::kGarbled));
  EXPECT_THAT(numbers, Each(AnyOf(7, 8)));
  EXPECT_EQ(numbers.back(), 8);
}

TEST_F(EmbeddedCameraTest, repeatsTheLastPictureWhileNoneComes) {
  EmbeddedCamera camera(path, kNoLog);
  Y4mClient early(path);
  EXPECT_THAT(early.header(), HasSubstr("YUV4MPEG2"));
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(early.frame(), Y4mClient::kGrey);
  EXPECT_EQ(early.frame(), Y4mClient::kGrey);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
  deliver(camera, 3);
  EXPECT_EQ(early.pictureFrom(3), 3);
  EXPECT_EQ(early.frame(), 3);
  Y4mClient late(path);
  EXPECT_THAT(late.header(), HasSubstr("YUV4MPEG2"));
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
  if (other == 0) ::_exit(::setuid(65534) == 0 ? Y4mClient(path).error() : 0);
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
  ASSERT_TRUE(std::filesystem::exists(path));
  {
    const EmbeddedCamera camera(path, kNoLog);
    EXPECT_TRUE(camera.available());
    const EmbeddedCamera second(path, kNoLog);
    EXPECT_EQ(second.whyUnavailable(),
              "The embedded camera cannot be opened at " + path +
                  ": another running Quorvex Camera serves it; end that one first");
    EXPECT_TRUE(Y4mClient(path).connected());
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

TEST_F(EmbeddedCameraTest, saysWhatIsWrongWithItsPath) {
  const auto problemAt = [](const std::string& bad) {
    return EmbeddedCamera(bad, kNoLog).whyUnavailable().value_or("nothing");
  };
  std::ofstream(folder / "letter") << "Dear Sir";
  EXPECT_THAT(problemAt(folder / "letter"), HasSubstr("there is a file of that name"));
  EXPECT_TRUE(std::filesystem::exists(folder / "letter"));
  EXPECT_THAT(problemAt(folder / "nowhere/camera"), HasSubstr("No such file or directory"));
  EXPECT_THAT(problemAt(folder / std::string(120, 'x')), HasSubstr("107 bytes"));

  // A server that knows nothing of our lock.
  const EmbeddedCamera foreign(path, kNoLog);
  std::filesystem::rename(path, folder / "foreign");
  EXPECT_THAT(problemAt(folder / "foreign"), HasSubstr("another program serves it"));
  EXPECT_TRUE(Y4mClient(folder / "foreign").connected());
}

TEST_F(EmbeddedCameraTest, turnsAwayMoreReadersThanItCanServe) {
  std::atomic<int> lines{0};
  EmbeddedCamera camera(path, [&](std::string_view line) {
    EXPECT_THAT(std::string(line), HasSubstr("turned away"));
    ++lines;
  });
  std::vector<std::unique_ptr<Y4mClient>> clients;
  for (int i = 0; i < EmbeddedCamera::kMostReaders; ++i) {
    clients.push_back(std::make_unique<Y4mClient>(path));
    EXPECT_THAT(clients.back()->header(), HasSubstr("YUV4MPEG2"));
  }
  EXPECT_EQ(Y4mClient(path).header(), "(cut off)");
  EXPECT_EQ(lines, 1);

  // One that leaves makes room.
  clients.pop_back();
  EXPECT_TRUE(eventually([&] { return Y4mClient(path).header().starts_with("YUV4MPEG2"); }));
}

TEST(Y4mFrames, areConvertedOnceForAllReadersAndOnlyForThoseThatAsk) {
  const TestPictures pictures;
  Y4mFrames frames;
  frames.show(pictures.sample(1)->imageBuffer);
  const auto first = frames.block();
  EXPECT_EQ(frames.block(), first);
  frames.repeat();
  EXPECT_EQ(frames.block(), first);
  frames.show(pictures.sample(2)->imageBuffer);
  EXPECT_NE(frames.block(), first) << "a reader still holds the first";
}

}  // namespace
}  // namespace quorvex::test
