#include "linux/vcam/RawVideo.h"

#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>

#include <array>

#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {
namespace {

constexpr int kWidth = kVirtualCameraWidth;
constexpr int kHeight = kVirtualCameraHeight;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

/// Two rows at a time, so that the planes in between stay in the fastest cache.
void writeYuy2(const PixelBuffer& picture, std::uint8_t* out) {
  std::array<std::uint8_t, kWidth / 2> cb;
  std::array<std::uint8_t, kWidth / 2> cr;
  for (int row = 0; row < kHeight; row += 2) {
    libyuv::SplitUVPlane(picture.baseAddressOfPlane(1) + row / 2 * picture.bytesPerRowOfPlane(1),
                         picture.bytesPerRowOfPlane(1), cb.data(), 0, cr.data(), 0, kWidth / 2, 1);
    libyuv::I420ToYUY2(picture.baseAddressOfPlane(0) + row * picture.bytesPerRowOfPlane(0),
                       picture.bytesPerRowOfPlane(0), cb.data(), 0, cr.data(), 0,
                       out + std::size_t{2} * kWidth * row, 2 * kWidth, kWidth, 2);
  }
}

}  // namespace

std::size_t rawVideoBytes(RawVideoFormat format) {
  return format == RawVideoFormat::yuy2 ? 2 * kPixels : kPixels * 3 / 2;
}

int rawVideoStride(RawVideoFormat format) {
  return format == RawVideoFormat::yuy2 ? 2 * kWidth : kWidth;
}

void writeRawVideo(const PixelBuffer& picture, RawVideoFormat format, std::uint8_t* out) {
  const auto* luma = picture.baseAddressOfPlane(0);
  const auto* chroma = picture.baseAddressOfPlane(1);
  const int lumaStride = picture.bytesPerRowOfPlane(0);
  const int chromaStride = picture.bytesPerRowOfPlane(1);
  switch (format) {
    case RawVideoFormat::nv12:
      libyuv::NV12Copy(luma, lumaStride, chroma, chromaStride, out, kWidth, out + kPixels, kWidth,
                       kWidth, kHeight);
      break;
    case RawVideoFormat::i420:
      libyuv::NV12ToI420(luma, lumaStride, chroma, chromaStride, out, kWidth, out + kPixels,
                         kWidth / 2, out + kPixels * 5 / 4, kWidth / 2, kWidth, kHeight);
      break;
    case RawVideoFormat::yuy2:
      writeYuy2(picture, out);
      break;
  }
}

}  // namespace quorvex
