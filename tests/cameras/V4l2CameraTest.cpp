#include <fcntl.h>
#include <gtest/gtest.h>
#include <libyuv.h>
#include <linux/videodev2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/DeviceUsers.h"
#include "linux/cameras/PatternPainter.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/V4l2Pixels.h"

namespace quorvex {
namespace {

// A folder with things that are no camera.
class V4l2CameraTest : public testing::Test {
 protected:
  V4l2CameraTest() {
    EXPECT_TRUE(mkdtemp(folder.data()));
    std::ofstream(folder + "/file") << "no camera";
    EXPECT_EQ(mkfifo((folder + "/fifo").c_str(), 0600), 0);
  }
  ~V4l2CameraTest() override { std::filesystem::remove_all(folder); }

  std::string folder = testing::TempDir() + "v4l2-camera-XXXXXX";
};

TEST_F(V4l2CameraTest, saysWhyAPathIsNoCamera) {
  for (const std::string& path :
       {folder + "/file", folder + "/fifo", folder, std::string("/dev/null")})
    EXPECT_EQ(V4l2Camera::problemWith(path),
              path + " is no video device: name one like /dev/video0");
  EXPECT_EQ(V4l2Camera::problemWith("/dev/video987"),
            "/dev/video987 is not there: plug the camera in");
}

TEST_F(V4l2CameraTest, listsNothingForABadPathAndLogsItOnce) {
  CaughtFrames caught;
  V4l2Camera camera(caught.log(), folder + "/file");
  EXPECT_TRUE(camera.captureDevices().empty());
  EXPECT_TRUE(camera.captureDevices().empty());
  EXPECT_TRUE(camera.supportedFormats({folder + "/file", "file"}).empty());
  EXPECT_EQ(caught.waitForLines(1).size(), 1u);
}

TEST_F(V4l2CameraTest, completesTheStartOfAnAbsentCameraWithTheReason) {
  CaughtFrames caught;
  V4l2Camera camera(caught.log());
  camera.startCapture({"/dev/video987", "Gone"}, {1280, 720, V4L2_PIX_FMT_YUYV, {}}, 30,
                      caught.handler(), caught.completion());
  EXPECT_EQ(caught.waitForCompletion(), "/dev/video987 is not there: plug the camera in");
  camera.stopCapture();
  EXPECT_TRUE(caught.waitForFrames(0).empty());
}

TEST_F(V4l2CameraTest, namesTheProgramThatHasADeviceOpen) {
  const std::string path = folder + "/file";
  EXPECT_EQ(programsUsing(path), "");
  const int gate = open((folder + "/fifo").c_str(), O_RDWR);
  // The shell opens the file first and says so through the FIFO.
  const std::string command = "sleep 60 < " + path + " & echo $! > " + folder + "/fifo";
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::string process(16, '\0');
  process.resize(std::max<ssize_t>(read(gate, process.data(), process.size()), 1) - 1);
  std::string users;
  for (int tries = 0; tries < 500 && users.find("sleep") == std::string::npos; ++tries) {
    users = programsUsing(path);
    usleep(10'000);
  }
  EXPECT_EQ(users, "sleep, process " + process);
  std::system(("kill " + process).c_str());
  close(gate);
}

// The picture as a camera of that format delivers it, with `padding` bytes after each line.
struct Delivered {
  FourCharCode format;
  int bytesPerLine;
  std::vector<std::uint8_t> bytes;
};

std::vector<Delivered> deliveries(const I420View& in, int padding) {
  const int w = in.width;
  const int h = in.height;
  std::vector<Delivered> all;
  const auto add = [&](FourCharCode format, int lineBytes, int lines) -> Delivered& {
    const int stride = lineBytes + padding;
    return all.emplace_back(Delivered{format, stride, std::vector<std::uint8_t>(stride * lines)});
  };
  auto& yuyv = add(V4L2_PIX_FMT_YUYV, 2 * w, h);
  libyuv::I420ToYUY2(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                     yuyv.bytes.data(), yuyv.bytesPerLine, w, h);
  auto& uyvy = add(V4L2_PIX_FMT_UYVY, 2 * w, h);
  libyuv::I420ToUYVY(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                     uyvy.bytes.data(), uyvy.bytesPerLine, w, h);
  auto& rgb = add(V4L2_PIX_FMT_RGB24, 3 * w, h);
  libyuv::I420ToRAW(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                    rgb.bytes.data(), rgb.bytesPerLine, w, h);
  auto& bgr = add(V4L2_PIX_FMT_BGR24, 3 * w, h);
  libyuv::I420ToRGB24(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                      bgr.bytes.data(), bgr.bytesPerLine, w, h);
  auto& nv12 = add(V4L2_PIX_FMT_NV12, w, h * 3 / 2);
  libyuv::I420ToNV12(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                     nv12.bytes.data(), nv12.bytesPerLine,
                     nv12.bytes.data() + nv12.bytesPerLine * h, nv12.bytesPerLine, w, h);
  for (const FourCharCode format : {V4L2_PIX_FMT_YUV420, V4L2_PIX_FMT_YVU420}) {
    auto& planar = add(format, w, h * 3 / 2);
    const int half = planar.bytesPerLine / 2;
    std::uint8_t* u = planar.bytes.data() + planar.bytesPerLine * h;
    std::uint8_t* v = u + half * h / 2;
    if (format == V4L2_PIX_FMT_YVU420) std::swap(u, v);
    libyuv::I420Copy(in.dataY, in.strideY, in.dataU, in.strideU, in.dataV, in.strideV,
                     planar.bytes.data(), planar.bytesPerLine, u, half, v, half, w, h);
  }
  return all;
}

TEST(V4l2Pixels, turnsEveryFormatIntoTheSamePicture) {
  const I420Picture original = PatternPainter(640, 360).paint(77, 1);
  for (const int padding : {0, 64}) {
    for (const Delivered& some : deliveries(original.view(), padding)) {
      ASSERT_TRUE(conversionCost(some.format));
      const std::string name = pixelFormatName(some.format);
      I420Picture got(640, 360);
      EXPECT_TRUE(
          convertToI420(some.format, some.bytes.data(), some.bytes.size(), some.bytesPerLine, got))
          << name;
      const I420View one = original.view();
      const I420View two = got.view();
      EXPECT_GT(libyuv::I420Psnr(one.dataY, one.strideY, one.dataU, one.strideU, one.dataV,
                                 one.strideV, two.dataY, two.strideY, two.dataU, two.strideU,
                                 two.dataV, two.strideV, 640, 360),
                33)
          << name;
      EXPECT_FALSE(convertToI420(some.format, some.bytes.data(), some.bytes.size() / 2,
                                 some.bytesPerLine, got))
          << name << " was read beyond its end";
    }
  }
}

TEST(V4l2Pixels, decodesJpegAndRefusesDamagedOnes) {
  std::string path = testing::TempDir() + "picture-XXXXXX.jpg";
  close(mkstemps(path.data(), 4));
  const std::string command =
      "ffmpeg -v error -y -f lavfi -i color=white:s=320x240 -frames:v 1 "
      "-pix_fmt yuvj420p " +
      path;
  ASSERT_EQ(std::system(command.c_str()), 0) << "is ffmpeg installed?";
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> jpeg{std::istreambuf_iterator<char>(file), {}};
  std::filesystem::remove(path);
  const auto decode = [&](std::size_t count, I420Picture& to) {
    return convertToI420(V4L2_PIX_FMT_MJPEG, reinterpret_cast<const std::uint8_t*>(jpeg.data()),
                         count, 0, to);
  };
  I420Picture picture(320, 240);
  EXPECT_TRUE(decode(jpeg.size(), picture));
  EXPECT_GT(picture.y()[320 * 120 + 160], 250);
  EXPECT_FALSE(decode(jpeg.size() / 2, picture)) << "cut off";
  EXPECT_FALSE(decode(0, picture));
  I420Picture larger(640, 480);
  EXPECT_FALSE(decode(jpeg.size(), larger)) << "of another size";
}

TEST(V4l2Pixels, leavesUnknownFormatsAlone) {
  EXPECT_FALSE(conversionCost(V4L2_PIX_FMT_GREY));
  I420Picture picture(16, 16);
  const std::vector<std::uint8_t> bytes(4096);
  EXPECT_FALSE(convertToI420(V4L2_PIX_FMT_GREY, bytes.data(), bytes.size(), 16, picture));
}

}  // namespace
}  // namespace quorvex
