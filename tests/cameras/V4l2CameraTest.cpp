#include <gtest/gtest.h>
#include <libyuv.h>
#include <linux/videodev2.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/PatternPainter.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/V4l2Pixels.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

TEST(V4l2Camera, saysWhyAPathIsNoCameraAndLogsItOnce) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  const std::string none = " is no video device: name one like /dev/video0";
  for (const auto& [path, why] : {std::pair{folder / "fifo", none},
                                  {"/dev/null", none},
                                  {"/dev/video987", " is not there: plug the camera in"}}) {
    EXPECT_EQ(V4l2Camera::problemWith(path), path + why);
    CaughtFrames caught;
    V4l2Camera camera(caught.log(), path);
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(camera.captureDevices().empty());
    EXPECT_EQ(caught.waitForLines(0), std::vector{path + why});
    EXPECT_EQ(caught.start(camera, {path, "Gone"}, {1280, 720, V4L2_PIX_FMT_YUYV, {}}), path + why);
  }
}

/// A picture as ffmpeg writes it in another format.
std::vector<std::uint8_t> converted(const I420Picture& picture, const std::string& format) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "in", std::ios::binary)
      << std::string_view(reinterpret_cast<const char*>(picture.view().dataY), picture.size());
  const std::string command = "cd " + (folder / "") + " && ffmpeg -v error -f rawvideo -s " +
                              std::to_string(picture.width) + "x360 -i in -f " + format + " out";
  EXPECT_EQ(std::system(command.c_str()), 0) << "is ffmpeg installed?";
  const std::string out = test::contentOf(folder / "out");
  return {out.begin(), out.end()};
}

double likeness(const I420View& one, const I420View& two) {
  return libyuv::I420Psnr(one.dataY, one.strideY, one.dataU, one.strideU, one.dataV, one.strideV,
                          two.dataY, two.strideY, two.dataU, two.strideU, two.dataV, two.strideV,
                          two.width, two.height);
}

TEST(V4l2Pixels, turnsEveryFormatIntoTheSamePictureAndRefusesDamagedOnes) {
  const I420Picture original = PatternPainter(704, 360).paint(77, 1);
  for (const auto& [format, name, bytesPerPixel] :
       {std::tuple{V4L2_PIX_FMT_YUYV, "rawvideo -pix_fmt yuyv422", 2},
        {V4L2_PIX_FMT_UYVY, "rawvideo -pix_fmt uyvy422", 2},
        {V4L2_PIX_FMT_RGB24, "rawvideo -pix_fmt rgb24", 3},
        {V4L2_PIX_FMT_BGR24, "rawvideo -pix_fmt bgr24", 3},
        {V4L2_PIX_FMT_NV12, "rawvideo -pix_fmt nv12", 1},
        {V4L2_PIX_FMT_YUV420, "rawvideo -pix_fmt yuv420p", 1},
        {V4L2_PIX_FMT_YVU420, "rawvideo -pix_fmt yuv420p -vf shuffleplanes=0:2:1", 1},
        {V4L2_PIX_FMT_MJPEG, "mjpeg -q:v 2 -color_range tv -strict -1", 1}}) {
    SCOPED_TRACE(name);
    const auto bytes = converted(original, name);
    // Narrower than the camera's lines are, as with a driver that pads them; a JPEG is of a size.
    for (const int width : {704, 640}) {
      I420Picture got(width, 360);
      const bool expected = format != V4L2_PIX_FMT_MJPEG || width == 704;
      EXPECT_EQ(convertToI420(format, bytes.data(), bytes.size(), 704 * bytesPerPixel, got),
                expected);
      EXPECT_EQ(likeness(original.view(), got.view()) > 25, expected);
      EXPECT_FALSE(convertToI420(format, bytes.data(), bytes.size() / 2, 704 * bytesPerPixel, got))
          << "read beyond its end";
    }
  }
  I420Picture unknown(16, 16);
  EXPECT_FALSE(conversionCost(V4L2_PIX_FMT_GREY));
  EXPECT_FALSE(convertToI420(V4L2_PIX_FMT_GREY, original.view().dataY, 4096, 16, unknown));
}

}  // namespace
}  // namespace quorvex
