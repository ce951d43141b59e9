#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/Y4mCamera.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

using namespace testing;

// A frame whose luma is `luma` and whose chroma is 60 and 200, so many bytes a plane.
std::string frame(char luma, int lumaBytes = 256, int chromaBytes = 64) {
  return "FRAME Ip\n" + std::string(lumaBytes, luma) + std::string(chromaBytes, 60) +
         std::string(chromaBytes, '\xc8');
}

const std::string kHeader = "YUV4MPEG2 W16 H16 F120:1\n";

class Y4mCameraTest : public testing::Test {
 protected:
  void write(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  std::string start(Y4mCamera& camera, CaughtFrames& frames, int fps) {
    return frames.start(camera, camera.captureDevices().front(), {}, fps);
  }
  std::vector<CaughtFrame> play(const std::string& bytes, std::size_t count, int fps = 240) {
    write(bytes);
    CaughtFrames played;
    Y4mCamera camera(path, caught.log());
    EXPECT_EQ(start(camera, played, fps), "");
    auto frames = played.waitForFrames(count);
    EXPECT_GE(frames.size(), count);
    frames.resize(count);
    return frames;
  }

  const test::TemporaryFolder folder;
  const std::string path = folder / "clip.y4m";
  CaughtFrames caught;
};

TEST_F(Y4mCameraTest, playsEverySamplingAsI420AtOddSizesToo) {
  for (const auto& [parameter, chroma] :
       {std::pair{"", 11 * 8}, {" C422", 11 * 15}, {" C444", 21 * 15}, {" Cmono", 0}}) {
    SCOPED_TRACE(parameter);
    const auto frames =
        play("YUV4MPEG2 W21 H15 F120:1 Ip A1:1" + std::string(parameter) + " XNOTE=1\n" +
                 frame('a', 21 * 15, chroma) + frame('b', 21 * 15, chroma),
             4);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(std::pair(frames[i].width, frames[i].height), std::pair(21, 15));
      EXPECT_EQ(frames[i].lastLuma, i % 2 ? 'b' : 'a') << "not looped in order";
      EXPECT_EQ(frames[i].lastV, chroma ? 200 : 128);
    }
  }
}

TEST_F(Y4mCameraTest, leavesOutFramesOfAFasterFileAndPlaysUpToTheLastWholeOneSayingSoOnce) {
  const auto rare = play(kHeader + frame('a') + frame('b') + frame('c') + frame('d'), 4, 60);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(rare[i].lastLuma, i % 2 ? 'c' : 'a');
  const auto frames = play(kHeader + frame('a') + frame('b') + "FRAME\ncut", 7);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(frames[i].lastLuma, i % 2 ? 'b' : 'a');
  EXPECT_THAT(caught.waitForLines(1), ElementsAre(HasSubstr(path)));
}

TEST_F(Y4mCameraTest, saysOnceThatItsFileIsLostAndOnceThatItIsBack) {
  // Too large for the player to have read it whole.
  const std::string whole = "YUV4MPEG2 W256 H256 F60:1\n" + frame('a', 65536, 16384);
  write(whole);
  Y4mCamera camera(path, caught.log());
  EXPECT_EQ(start(camera, caught, 60), "");
  std::filesystem::resize_file(path, 300);
  caught.waitForLines(1);
  const auto before = caught.waitForFrames(0).size();
  write(whole);
  EXPECT_GT(caught.waitForFrames(before + 1).size(), before);
  EXPECT_THAT(caught.waitForLines(2),
              ElementsAre(HasSubstr("holds no whole frame"), path + " is back"));
}

TEST_F(Y4mCameraTest, saysWhatIsWrongWithAFile) {
  const auto expectProblem = [this](const std::string& part) {
    Y4mCamera camera(path, caught.log());
    EXPECT_THAT(start(camera, caught, 30), AllOf(StartsWith(path), HasSubstr(part)));
  };
  expectProblem("No such file");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  expectProblem("no regular file");
  std::filesystem::remove(path);
  const std::string size = "YUV4MPEG2 W16 H16";
  for (const auto& [bytes, part] : {std::pair<std::string, const char*>{"", "is empty"},
                                    {std::string(100'000, 'x'), "is no YUV4MPEG2 file"},
                                    {kHeader + "FRAME\ncut", "no whole frame"},
                                    {kHeader + std::string(2000, 'x'), "no whole frame"},
                                    {"YUV4MPEG2 W16 F25:1", "(W and H)"},
                                    {"YUV4MPEG2 W0 H16", "only 1 to 8192"},
                                    {"YUV4MPEG2 W99999999999999999999 H16", "only 1 to 8192"},
                                    {size, "only 1 to 240 frames"},
                                    {size + " F25:0", "only 1 to 240 frames"},
                                    {size + " F1000000:1", "only 1 to 240 frames"},
                                    {size + " C420p10", "only 8-bit"}}) {
    write(bytes);
    expectProblem(part);
  }
}

}  // namespace
}  // namespace quorvex
