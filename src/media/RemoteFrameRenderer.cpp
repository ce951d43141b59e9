#include "media/RemoteFrameRenderer.h"

#include <algorithm>
#include <cstring>

#include "libyuv/convert_from.h"
#include "libyuv/planar_functions.h"

namespace quorvex {
namespace {

/// Copies what both sides have room for, where a row of one is shorter than the picture is wide.
void copyNarrowLuma(const I420View& from, PixelBuffer& to) {
  const int rowBytes = std::min({to.bytesPerRowOfPlane(0), from.strideY, from.width});
  for (int row = 0; row < from.height; ++row)
    std::memcpy(to.baseAddressOfPlane(0) + row * to.bytesPerRowOfPlane(0),
                from.dataY + static_cast<std::ptrdiff_t>(row) * from.strideY, rowBytes);
}

void interleave(const I420View& from, PixelBuffer& to) {
  if (from.strideY >= from.width) {
    libyuv::I420ToNV12(from.dataY, from.strideY, from.dataU, from.strideU, from.dataV, from.strideV,
                       to.baseAddressOfPlane(0), to.bytesPerRowOfPlane(0), to.baseAddressOfPlane(1),
                       to.bytesPerRowOfPlane(1), from.width, from.height);
    return;
  }
  copyNarrowLuma(from, to);
  libyuv::MergeUVPlane(from.dataU, from.strideU, from.dataV, from.strideV, to.baseAddressOfPlane(1),
                       to.bytesPerRowOfPlane(1), (from.width + 1) / 2, (from.height + 1) / 2);
}

}  // namespace

RemoteFrameRenderer::RemoteFrameRenderer(FrameCallback callback) : onFrame(std::move(callback)) {}

void RemoteFrameRenderer::renderFrame(const RtcVideoFrame* frame) {
  if (!frame) return;
  if (frame->pixelBuffer) return onFrame(frame->pixelBuffer);
  const I420View& picture = frame->i420;
  const PixelBufferRef buffer = makePixelBuffer(picture.width, picture.height);
  if (!buffer) return;
  interleave(picture, *buffer);
  onFrame(buffer);
}

PixelBufferRef RemoteFrameRenderer::makePixelBuffer(int width, int height) {
  if (!pool || poolW != width || poolH != height) {
    PixelBufferPoolRef made;
    if (CVPixelBufferPoolCreate({.width = width, .height = height}, &made) != kNoError) return {};
    pool = std::move(made);
    poolW = width;
    poolH = height;
  }
  PixelBufferRef buffer;
  if (CVPixelBufferPoolCreatePixelBuffer(pool, &buffer) != kNoError) return {};
  return buffer;
}

}  // namespace quorvex
