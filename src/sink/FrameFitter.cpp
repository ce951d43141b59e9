#include "sink/FrameFitter.h"

#include <algorithm>
#include <cmath>

#include "libyuv/planar_functions.h"
#include "libyuv/scale.h"

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
  const int lumaStride = out.bytesPerRowOfPlane(0);
  scale({in.baseAddressOfPlane(0), in.bytesPerRowOfPlane(0), in.width(), in.height()},
        {out.baseAddressOfPlane(0) + rect.y * lumaStride + rect.x, lumaStride, rect.width,
         rect.height},
        flipped);

  // Scaling the two chroma planes apart is faster than scaling pairs, and keeps 6 to 12 dB more.
  const int chromaWidth = (in.width() + 1) / 2;
  const int chromaHeight = (in.height() + 1) / 2;
  const Plane u = scratchPlane(sourceU, chromaWidth, chromaHeight);
  const Plane v = scratchPlane(sourceV, chromaWidth, chromaHeight);
  libyuv::SplitUVPlane(in.baseAddressOfPlane(1), in.bytesPerRowOfPlane(1), u.data, u.stride, v.data,
                       v.stride, chromaWidth, chromaHeight);
  const Plane fittedU = scratchPlane(scaledU, rect.width / 2, rect.height / 2);
  const Plane fittedV = scratchPlane(scaledV, rect.width / 2, rect.height / 2);
  scale({u.data, u.stride, u.width, u.height}, fittedU, flipped);
  scale({v.data, v.stride, v.width, v.height}, fittedV, flipped);
  const int chromaStride = out.bytesPerRowOfPlane(1);
  libyuv::MergeUVPlane(fittedU.data, fittedU.stride, fittedV.data, fittedV.stride,
                       out.baseAddressOfPlane(1) + rect.y / 2 * chromaStride + rect.x, chromaStride,
                       fittedU.width, fittedU.height);
}

void FrameFitter::scale(const ConstPlane& from, const Plane& to, bool flipped) {
  const auto resample = [](const ConstPlane& source, const Plane& target) {
    libyuv::ScalePlane(source.data, source.stride, source.width, source.height, target.data,
                       target.stride, target.width, target.height, libyuv::kFilterBox);
  };
  if (!flipped) return resample(from, to);
  // The scaler's own mirroring, by a negative width, writes wrong pixels; the smaller side is the
  // cheaper one to mirror apart.
  if (from.width * from.height < to.width * to.height) {
    const Plane turned = scratchPlane(mirrored, from.width, from.height);
    libyuv::MirrorPlane(from.data, from.stride, turned.data, turned.stride, from.width,
                        from.height);
    return resample({turned.data, turned.stride, turned.width, turned.height}, to);
  }
  const Plane turned = scratchPlane(mirrored, to.width, to.height);
  resample(from, turned);
  libyuv::MirrorPlane(turned.data, turned.stride, to.data, to.stride, to.width, to.height);
}

FrameFitter::Plane FrameFitter::scratchPlane(std::vector<std::uint8_t>& bytes, int width,
                                             int height) {
  const int stride = (width + 63) / 64 * 64;
  const auto needed = static_cast<std::size_t>(stride) * height;
  if (bytes.size() < needed) bytes.resize(needed);
  return {bytes.data(), stride, width, height};
}

}  // namespace quorvex
