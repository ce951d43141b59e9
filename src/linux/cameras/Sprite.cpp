#include "linux/cameras/Sprite.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace quorvex {
namespace {

struct Pixel {
  YuvColour colour;
  float alpha = 0;
};

float mix(float below, float above, float share) {
  return below + (above - below) * share;
}

// How much of the pixel around x, y the ellipse covers; its edge is `softness` pixels wide.
float coverage(const Ellipse& ellipse, float x, float y, float unit, float softness) {
  const float dx = (x / unit - ellipse.x) / ellipse.radiusX;
  const float dy = (y / unit - ellipse.y) / ellipse.radiusY;
  const float beyond = (std::hypot(dx, dy) - 1) * std::min(ellipse.radiusX, ellipse.radiusY) * unit;
  return std::clamp(0.5f - beyond / softness, 0.0f, 1.0f);
}

Pixel pixelAt(float x, float y, float unit, float softness, std::span<const Ellipse> ellipses) {
  Pixel pixel;
  for (const Ellipse& ellipse : ellipses) {
    const float covered = coverage(ellipse, x, y, unit, softness);
    if (covered == 0) continue;
    pixel.alpha = mix(pixel.alpha, 1, covered);
    const float share = covered / pixel.alpha;
    pixel.colour.y = mix(pixel.colour.y, ellipse.colour.y, share);
    pixel.colour.u = mix(pixel.colour.u, ellipse.colour.u, share);
    pixel.colour.v = mix(pixel.colour.v, ellipse.colour.v, share);
  }
  return pixel;
}

}  // namespace

Sprite::Sprite(int width, int height, std::span<const Ellipse> ellipses)
    : picture(width, height), alpha(static_cast<std::size_t>(width) * height) {
  const auto unit = static_cast<float>(height);
  const auto byte = [](float value) { return static_cast<std::uint8_t>(std::lround(value)); };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto centreX = static_cast<float>(x) + 0.5f;
      const auto centreY = static_cast<float>(y) + 0.5f;
      const Pixel pixel = pixelAt(centreX, centreY, unit, 1, ellipses);
      const std::size_t at = static_cast<std::size_t>(y) * width + x;
      alpha[at] = byte(pixel.alpha * 255);
      picture.y()[at] = byte(pixel.colour.y);
      if (x % 2 != 0 || y % 2 != 0) continue;
      // Softer, so that chroma has its colour wherever one of its four pixels is covered.
      const Pixel four = pixelAt(centreX + 0.5f, centreY + 0.5f, unit, 3, ellipses);
      const std::size_t chroma = static_cast<std::size_t>(y / 2) * picture.strideChroma() + x / 2;
      picture.u()[chroma] = byte(four.colour.u);
      picture.v()[chroma] = byte(four.colour.v);
    }
  }
}

void Sprite::blendOnto(I420Picture& target, int x, int y) const {
  const I420View above = picture.view();
  const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(y) * target.strideY() + x;
  const std::ptrdiff_t chroma = static_cast<std::ptrdiff_t>(y / 2) * target.strideChroma() + x / 2;
  libyuv::I420Blend(above.dataY, above.strideY, above.dataU, above.strideU, above.dataV,
                    above.strideV, target.y() + luma, target.strideY(), target.u() + chroma,
                    target.strideChroma(), target.v() + chroma, target.strideChroma(), alpha.data(),
                    width(), target.y() + luma, target.strideY(), target.u() + chroma,
                    target.strideChroma(), target.v() + chroma, target.strideChroma(), width(),
                    height());
}

}  // namespace quorvex
