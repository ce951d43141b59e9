#include "bench/SwscalePeer.h"

#include <array>
#include <cstdlib>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace quorvex {
namespace {

template <class Sample>
void mirrorRows(const std::uint8_t* from, int fromStride, std::vector<std::uint8_t>& to, int width,
                int height) {
  for (int row = 0; row < height; ++row) {
    const auto* source = reinterpret_cast<const Sample*>(from + row * fromStride);
    auto* target = reinterpret_cast<Sample*>(to.data()) + row * width;
    for (int x = 0; x < width; ++x) target[x] = source[width - 1 - x];
  }
}

}  // namespace

SwscalePeer::SwscalePeer(int sourceWidth, int sourceHeight, int pixelFormat, PixelRect rect)
    : context(sws_getContext(sourceWidth, sourceHeight, static_cast<AVPixelFormat>(pixelFormat),
                             rect.width, rect.height, AV_PIX_FMT_NV12, SWS_BILINEAR, nullptr,
                             nullptr, nullptr)),
      width(sourceWidth),
      height(sourceHeight),
      target(rect),
      mirroredLuma(static_cast<std::size_t>(width) * height),
      mirroredChroma(static_cast<std::size_t>((width + 1) / 2 * 2) * ((height + 1) / 2)) {
  if (!context) std::abort();
}

SwscalePeer::~SwscalePeer() {
  sws_freeContext(context);
}

void SwscalePeer::convert(const I420View& in, PixelBuffer& out) const {
  const std::array<const std::uint8_t*, 3> planes{in.dataY, in.dataU, in.dataV};
  const std::array<int, 3> strides{in.strideY, in.strideU, in.strideV};
  const std::array<std::uint8_t*, 2> outPlanes{out.baseAddressOfPlane(0),
                                               out.baseAddressOfPlane(1)};
  const std::array<int, 2> outStrides{out.bytesPerRowOfPlane(0), out.bytesPerRowOfPlane(1)};
  sws_scale(context, planes.data(), strides.data(), 0, height, outPlanes.data(), outStrides.data());
}

void SwscalePeer::fit(const PixelBuffer& in, bool flipped, PixelBuffer& out) {
  std::array<const std::uint8_t*, 2> planes{in.baseAddressOfPlane(0), in.baseAddressOfPlane(1)};
  std::array<int, 2> strides{in.bytesPerRowOfPlane(0), in.bytesPerRowOfPlane(1)};
  if (flipped) {
    const int chromaWidth = (width + 1) / 2;
    mirrorRows<std::uint8_t>(planes[0], strides[0], mirroredLuma, width, height);
    mirrorRows<std::uint16_t>(planes[1], strides[1], mirroredChroma, chromaWidth, (height + 1) / 2);
    planes = {mirroredLuma.data(), mirroredChroma.data()};
    strides = {width, chromaWidth * 2};
  }
  const std::array<int, 2> outStrides{out.bytesPerRowOfPlane(0), out.bytesPerRowOfPlane(1)};
  const std::array<std::uint8_t*, 2> outPlanes{
      out.baseAddressOfPlane(0) + target.y * outStrides[0] + target.x,
      out.baseAddressOfPlane(1) + target.y / 2 * outStrides[1] + target.x};
  sws_scale(context, planes.data(), strides.data(), 0, height, outPlanes.data(), outStrides.data());
}

}  // namespace quorvex
