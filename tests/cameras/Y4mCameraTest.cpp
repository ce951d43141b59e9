#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/Y4mCamera.h"

namespace quorvex {
namespace {

using testing::Test;

// A frame whose luma is `luma` and whose chroma is 60 and 200.
std::string frame(int width, int height, char luma, int chromaWidth, int chromaHeight,
                  const std::string& parameters = "") {
  const std::size_t chroma = static_cast<std::size_t>(chromaWidth) * chromaHeight;
  return "FRAME" + parameters + "\n" + std::string(static_cast<std::size_t>(width) * height, luma) +
         std::string(chroma, 60) + std::string(chroma, '\xc8');
}

std::string frame420(int width, int height, char luma) {
  return frame(width, height, luma, (width + 1) / 2, (height + 1) / 2);
}

class Y4mCameraTest : public Test {
 protected:
  Y4mCameraTest() { EXPECT_TRUE(mkdtemp(folder.data())); }
  ~Y4mCameraTest() override { std::filesystem::remove_all(folder); }

  std::string write(const std::string& bytes, const std::string& name = "clip.y4m") {
    const std::string path = folder + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  // Both ways in which a person learns of it must say the same, naming the file.
  void expectProblem(const std::string& path, const std::string& part) {
    const auto problem = Y4mCamera::problemWith(path);
    ASSERT_TRUE(problem) << path;
    EXPECT_EQ(problem->find(path), 0u) << *problem;
    EXPECT_NE(problem->find(part), std::string::npos) << *problem;
    EXPECT_NE(problem->find(": "), std::string::npos) << "no mend in: " << *problem;
    EXPECT_EQ(problem->find('\n'), std::string::npos);
    CaughtFrames refused;
    Y4mCamera camera(path, refused.log());
    camera.startCapture(camera.captureDevices().front(), {}, 30, refused.handler(),
                        refused.completion());
    EXPECT_EQ(refused.waitForCompletion(), *problem);
  }

  void expectHeaderProblem(const std::string& header, const std::string& part) {
    expectProblem(write(header + "\n" + frame420(16, 16, 'a')), part);
  }

  // At least `count` frames of the file.
  std::vector<CaughtFrame> play(const std::string& path, std::size_t count, int fps = 240) {
    CaughtFrames played;
    Y4mCamera camera(path, caught.log());
    camera.startCapture(camera.captureDevices().front(), {}, fps, played.handler(),
                        played.completion());
    EXPECT_EQ(played.waitForCompletion(), "");
    auto frames = played.waitForFrames(count);
    EXPECT_GE(frames.size(), count);
    frames.resize(count);
    return frames;
  }

  std::string folder = testing::TempDir() + "y4m-camera-XXXXXX";
  CaughtFrames caught;
};

TEST_F(Y4mCameraTest, playsEverySamplingAsI420AtOddSizesToo) {
  struct Case {
    const char* parameter;
    int chromaWidth;
    int chromaHeight;
  };
  for (const Case& some : {Case{"", 11, 8},
                           {" C420", 11, 8},
                           {" C420jpeg", 11, 8},
                           {" C420mpeg2", 11, 8},
                           {" C420paldv", 11, 8},
                           {" C422", 11, 15},
                           {" C444", 21, 15},
                           {" Cmono", 0, 0}}) {
    const std::string path =
        write("YUV4MPEG2 W21 H15 F120:1 Ip A1:1" + std::string(some.parameter) + " XNOTE=1\n" +
              frame(21, 15, 'a', some.chromaWidth, some.chromaHeight) +
              frame(21, 15, 'b', some.chromaWidth, some.chromaHeight, " Ip"));
    SCOPED_TRACE(some.parameter);
    const auto frames = play(path, 4);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(frames[i].width, 21);
      EXPECT_EQ(frames[i].height, 15);
      EXPECT_EQ(frames[i].firstLuma, i % 2 ? 'b' : 'a') << "not looped in order";
      EXPECT_EQ(frames[i].lastLuma, frames[i].firstLuma);
      EXPECT_EQ(frames[i].firstU, some.chromaWidth ? 60 : 128);
      EXPECT_EQ(frames[i].lastV, some.chromaWidth ? 200 : 128);
    }
  }
}

TEST_F(Y4mCameraTest, isNamedAfterItsFileAndOffersItsSizeAndRate) {
  const std::string path =
      write("YUV4MPEG2 W32 H16 F30000:1001 It\n" + frame420(32, 16, 'a'), "my clip.y4m");
  Y4mCamera camera(path, caught.log());
  const auto device = camera.captureDevices().front();
  EXPECT_EQ(device.name, "my clip.y4m");
  const auto formats = camera.supportedFormats(device);
  ASSERT_EQ(formats.size(), 1u);
  EXPECT_EQ(formats[0].width, 32);
  EXPECT_EQ(formats[0].height, 16);
  EXPECT_NEAR(formats[0].videoSupportedFrameRateRanges[0].maxFrameRate, 29.97, 0.001);
  EXPECT_TRUE(camera.supportedFormats({"another", "another"}).empty());
}

TEST_F(Y4mCameraTest, leavesOutFramesOfAFasterFile) {
  const auto frames =
      play(write("YUV4MPEG2 W16 H16 F120:1\n" + frame420(16, 16, 'a') + frame420(16, 16, 'b') +
                 frame420(16, 16, 'c') + frame420(16, 16, 'd')),
           4, 60);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(frames[i].firstLuma, i % 2 ? 'c' : 'a');
}

TEST_F(Y4mCameraTest, playsUpToTheLastWholeFrameAndSaysSoOnce) {
  const std::string path = write("YUV4MPEG2 W16 H16 F120:1\n" + frame420(16, 16, 'a') +
                                 frame420(16, 16, 'b') + "FRAME\ncut");
  const auto frames = play(path, 7);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(frames[i].firstLuma, i % 2 ? 'b' : 'a');
  const auto lines = caught.waitForLines(1);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find(path), std::string::npos);
}

TEST_F(Y4mCameraTest, saysOnceThatItsFileIsLostAndOnceThatItIsBack) {
  const std::string whole = "YUV4MPEG2 W256 H256 F60:1\n" + frame420(256, 256, 'a');
  const std::string path = write(whole);
  Y4mCamera camera(path, caught.log());
  camera.startCapture(camera.captureDevices().front(), {}, 60, caught.handler(),
                      caught.completion());
  caught.waitForFrames(3);
  std::filesystem::resize_file(path, 300);
  EXPECT_NE(caught.waitForLines(1).back().find("holds no whole frame"), std::string::npos);
  const auto before = caught.waitForFrames(0).size();
  write(whole);
  EXPECT_EQ(caught.waitForLines(2).back(), path + " is back");
  EXPECT_GT(caught.waitForFrames(before + 1).size(), before);
  EXPECT_EQ(caught.waitForLines(0).size(), 2u);
}

TEST_F(Y4mCameraTest, namesWhatIsNoFileToPlay) {
  expectProblem(folder + "/missing.y4m", "No such file");
  expectProblem(folder, "no regular file");
  const std::string fifo = folder + "/fifo.y4m";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expectProblem(fifo, "no regular file");
  expectProblem(write(""), "is empty");
  expectProblem(write("RIFF....AVI LIST\n\n\n"), "is no YUV4MPEG2 file");
  expectProblem(write(std::string(100'000, 'x')), "is no YUV4MPEG2 file");
  expectProblem(write("YUV4MPEG2 W16 H16 F25:1"), "holds no whole frame");
  expectProblem(write("YUV4MPEG2 W16 H16 F25:1\nFRAME\nshort"), "holds no whole frame");
  expectProblem(write("YUV4MPEG2 W16 H16 F25:1\n" + std::string(2000, 'x')), "no whole frame");
}

TEST_F(Y4mCameraTest, namesWhatItsHeaderLacksOrAsksTooMuch) {
  expectHeaderProblem("YUV4MPEG2 F25:1 C420", "(W and H)");
  expectHeaderProblem("YUV4MPEG2 W16 F25:1", "(W and H)");
  for (const char* size : {"W0 H16", "W-16 H16", "W16 H8193", "W99999999999999999999 H16", "Wx H2"})
    expectHeaderProblem("YUV4MPEG2 " + std::string(size) + " F25:1", "only 1 to 8192");
  for (const char* rate : {"", " F0:0", " F25:0", " F25", " F-1:1", " F1:1000", " F1000000:1"})
    expectHeaderProblem("YUV4MPEG2 W16 H16" + std::string(rate), "only 1 to 240 frames");
  for (const char* sampling : {"420p10", "422p12", "444alpha", "411", "mono16", "420jpeg2", ""})
    expectHeaderProblem("YUV4MPEG2 W16 H16 F25:1 C" + std::string(sampling), "only 8-bit");
}

TEST_F(Y4mCameraTest, playsWhatFfmpegWrites) {
  for (const char* pixels : {"yuv420p", "yuvj420p", "yuv422p", "yuv444p", "gray"}) {
    const std::string path = folder + "/made.y4m";
    const std::string command = "ffmpeg -v error -y -f lavfi -i testsrc=s=64x48:r=25 -frames:v 3 " +
                                std::string("-strict -1 -pix_fmt ") + pixels + " " + path;
    ASSERT_EQ(std::system(command.c_str()), 0) << "is ffmpeg installed?";
    SCOPED_TRACE(pixels);
    EXPECT_EQ(play(path, 4).back().width, 64);
  }
}

}  // namespace
}  // namespace quorvex
