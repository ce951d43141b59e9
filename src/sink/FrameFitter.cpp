#include "sink/FrameFitter.h"

#include <algorithm>
#include <cmath>

#include "libyuv/planar_functions.h"

namespace quorvex {
namespace {

constexpr std::uint8_t kBlackLuma = 16;
constexpr std::uint8_t kNeutralChroma = 128;

int evenWithin(double value, int limit) {
  return std::clamp(static_cast<int>(std::lround(value / 2)) * 2, 2, limit);
}

void paintBlack(PixelBuffer& buffer) {
  libyuv::SetPlane(buffer.baseAddressOfPlane(0), buffer.bytesPerRowOfPlane(0), buffer.width(),
                   buffer.height(), kBlackLuma);
  libyuv::SetPlane(buffer.baseAddressOfPlane(1), buffer.bytesPerRowOfPlane(1),
                   (buffer.width() + 1) / 2 * 2, (buffer.height() + 1) / 2, kNeutralChroma);
}

}  // namespace

PixelRect aspectFit(int width, int height, int outWidth, int outHeight) {
  const double scale =
      std::min(static_cast<double>(outWidth) / width, static_cast<double>(outHeight) / height);
  PixelRect rect;
  rect.width = evenWithin(scale * width, outWidth);
  rect.height = evenWithin(scale * height, outHeight);
  rect.x = (outWidth - rect.width) / 4 * 2;
  rect.y = (outHeight - rect.height) / 4 * 2;
  return rect;
}

void FrameFitter::fit(const PixelBuffer& in, bool flipped, PixelBuffer& out) {
  const PixelRect rect = aspectFit(in.width(), in.height(), out.width(), out.height());
  if (out.cleanAperture != rect) {
    paintBlack(out);
    out.cleanAperture = rect;
  }
  for (int plane = 0; plane < 2; ++plane) {
    const int shrink = plane + 1;  // chroma is half the size both ways
    const int stride = out.bytesPerRowOfPlane(plane);
    scalers[plane].scale({.sourceWidth = static_cast<double>(in.width()) / shrink,
                          .sourceHeight = static_cast<double>(in.height()) / shrink,
                          .width = rect.width / shrink,
                          .height = rect.height / shrink,
                          .bytesPerPixel = plane + 1,
                          .mirrored = flipped},
                         in.baseAddressOfPlane(plane), in.bytesPerRowOfPlane(plane),
                         out.baseAddressOfPlane(plane) + rect.y / shrink * stride + rect.x, stride);
  }
}

}  // namespace quorvex
