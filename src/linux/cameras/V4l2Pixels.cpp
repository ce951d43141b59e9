#include "linux/cameras/V4l2Pixels.h"

#include <libyuv.h>
#include <linux/videodev2.h>

#include <utility>

#include "linux/cameras/CameraError.h"

namespace quorvex {
namespace {

using PackedToI420 = int (*)(const std::uint8_t*, int, std::uint8_t*, int, std::uint8_t*, int,
                             std::uint8_t*, int, int, int);

// The formats that are one plane of so many bytes a pixel.
struct Packed {
  PackedToI420 convert = nullptr;
  int bytesPerPixel = 0;
};

Packed packedFormat(FourCharCode pixelFormat) {
  switch (pixelFormat) {
    case V4L2_PIX_FMT_YUYV:
      return {libyuv::YUY2ToI420, 2};
    case V4L2_PIX_FMT_UYVY:
      return {libyuv::UYVYToI420, 2};
    case V4L2_PIX_FMT_RGB24:
      return {libyuv::RAWToI420, 3};
    case V4L2_PIX_FMT_BGR24:
      return {libyuv::RGB24ToI420, 3};
    default:
      return {};
  }
}

bool fromPacked(const Packed& packed, const std::uint8_t* bytes, std::size_t count,
                int bytesPerLine, I420Picture& to) {
  const int shortest = to.width * packed.bytesPerPixel;
  if (bytesPerLine < shortest ||
      count < static_cast<std::size_t>(bytesPerLine) * (to.height - 1) + shortest)
    return false;
  return packed.convert(bytes, bytesPerLine, to.y(), to.strideY(), to.u(), to.strideChroma(),
                        to.v(), to.strideChroma(), to.width, to.height) == 0;
}

bool fromNv12(const std::uint8_t* bytes, std::size_t count, int bytesPerLine, I420Picture& to) {
  const std::size_t luma = static_cast<std::size_t>(bytesPerLine) * to.height;
  const std::size_t chromaLines = (to.height + 1) / 2;
  if (bytesPerLine < to.width ||
      count < luma + bytesPerLine * (chromaLines - 1) + std::size_t{2} * to.strideChroma())
    return false;
  return libyuv::NV12ToI420(bytes, bytesPerLine, bytes + luma, bytesPerLine, to.y(), to.strideY(),
                            to.u(), to.strideChroma(), to.v(), to.strideChroma(), to.width,
                            to.height) == 0;
}

bool fromPlanar(bool blueFirst, const std::uint8_t* bytes, std::size_t count, int bytesPerLine,
                I420Picture& to) {
  const int half = (bytesPerLine + 1) / 2;
  const std::size_t luma = static_cast<std::size_t>(bytesPerLine) * to.height;
  const std::size_t chroma = static_cast<std::size_t>(half) * ((to.height + 1) / 2);
  if (bytesPerLine < to.width || count < luma + 2 * chroma) return false;
  const std::uint8_t* u = bytes + luma;
  const std::uint8_t* v = u + chroma;
  if (!blueFirst) std::swap(u, v);
  return libyuv::I420Copy(bytes, bytesPerLine, u, half, v, half, to.y(), to.strideY(), to.u(),
                          to.strideChroma(), to.v(), to.strideChroma(), to.width, to.height) == 0;
}

// The decoder checks that the picture begins and ends, and that it has the size wanted.
bool fromJpeg(const std::uint8_t* bytes, std::size_t count, I420Picture& to) {
  return libyuv::MJPGToI420(bytes, count, to.y(), to.strideY(), to.u(), to.strideChroma(), to.v(),
                            to.strideChroma(), to.width, to.height, to.width, to.height) == 0;
}

}  // namespace

std::optional<int> conversionCost(FourCharCode pixelFormat) {
  switch (pixelFormat) {
    case V4L2_PIX_FMT_YUV420:
    case V4L2_PIX_FMT_YVU420:
      return 1;
    case V4L2_PIX_FMT_NV12:
      return 2;
    case V4L2_PIX_FMT_YUYV:
    case V4L2_PIX_FMT_UYVY:
      return 3;
    case V4L2_PIX_FMT_RGB24:
    case V4L2_PIX_FMT_BGR24:
      return 5;
    case V4L2_PIX_FMT_MJPEG:
    case V4L2_PIX_FMT_JPEG:
      return 30;
    default:
      return std::nullopt;
  }
}

std::string pixelFormatName(FourCharCode pixelFormat) {
  std::string name;
  for (int shift = 0; shift < 32; shift += 8)
    name.push_back(static_cast<char>(pixelFormat >> shift & 0x7f));
  return oneLine(name);
}

bool convertToI420(FourCharCode pixelFormat, const std::uint8_t* bytes, std::size_t count,
                   int bytesPerLine, I420Picture& picture) {
  switch (pixelFormat) {
    case V4L2_PIX_FMT_NV12:
      return fromNv12(bytes, count, bytesPerLine, picture);
    case V4L2_PIX_FMT_YUV420:
      return fromPlanar(true, bytes, count, bytesPerLine, picture);
    case V4L2_PIX_FMT_YVU420:
      return fromPlanar(false, bytes, count, bytesPerLine, picture);
    case V4L2_PIX_FMT_MJPEG:
    case V4L2_PIX_FMT_JPEG:
      return fromJpeg(bytes, count, picture);
    default:
      const Packed packed = packedFormat(pixelFormat);
      return packed.convert && fromPacked(packed, bytes, count, bytesPerLine, picture);
  }
}

}  // namespace quorvex
