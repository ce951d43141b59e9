#include "service/SwapEffect.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quorvex::service {
namespace {

struct Colour {
  std::uint8_t y, u, v;
};
constexpr Colour kBorder{200, 90, 180};
constexpr Colour kTint{0, 175, 160};  // the oval keeps its own brightness
constexpr double kSoftEdge = 0.15;    // of the oval's radius
constexpr int kWhole = 256;

int mixed(int from, int to, int strength) {
  return from + ((to - from) * strength) / kWhole;
}

void posterizeRow(std::uint8_t* row, const std::uint16_t* strengths, int count) {
  for (int x = 0; x < count; ++x) {
    const int level = (row[x] & 0xC0) | 0x20;
    row[x] = static_cast<std::uint8_t>(mixed(row[x], level, strengths[x]));
  }
}

void tintRow(std::uint8_t* row, const std::uint16_t* strengths, int count, int tint) {
  for (int x = 0; x < count; ++x)
    row[x] = static_cast<std::uint8_t>(mixed(row[x], tint, strengths[x]));
}

/// A frame `thickness` wide inside the first `height` rows.
void frame(std::uint8_t* plane, int stride, int width, int height, int thickness,
           std::uint8_t value) {
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = plane + std::ptrdiff_t{y} * stride;
    if (y < thickness || y >= height - thickness) {
      std::memset(row, value, static_cast<std::size_t>(width));
    } else {
      std::memset(row, value, static_cast<std::size_t>(thickness));
      std::memset(row + width - thickness, value, static_cast<std::size_t>(thickness));
    }
  }
}

}  // namespace

SwapEffect::Mask SwapEffect::ovalOf(int planeWidth, int planeHeight) {
  const double centreX = planeWidth / 2.0, centreY = planeHeight * 0.45;
  const double radiusY = planeHeight * 0.30;
  const double radiusX = std::min(radiusY * 0.75, planeWidth * 0.45);
  Mask mask;
  mask.left = static_cast<int>(centreX - radiusX);
  mask.top = static_cast<int>(centreY - radiusY);
  mask.width = std::min(static_cast<int>(std::ceil(2 * radiusX)), planeWidth - mask.left);
  mask.height = std::min(static_cast<int>(std::ceil(2 * radiusY)), planeHeight - mask.top);
  mask.strengths.reserve(static_cast<std::size_t>(mask.width) * mask.height);
  for (int y = 0; y < mask.height; ++y) {
    for (int x = 0; x < mask.width; ++x) {
      const double away = std::hypot((mask.left + x + 0.5 - centreX) / radiusX,
                                     (mask.top + y + 0.5 - centreY) / radiusY);
      const double strength = std::clamp((1 - away) / kSoftEdge, 0.0, 1.0);
      mask.strengths.push_back(static_cast<std::uint16_t>(std::lround(strength * kWhole)));
    }
  }
  return mask;
}

void SwapEffect::prepare(int forWidth, int forHeight) {
  if (width == forWidth && height == forHeight) return;
  width = forWidth;
  height = forHeight;
  luma = ovalOf(width, height);
  chroma = ovalOf((width + 1) / 2, (height + 1) / 2);
}

void SwapEffect::apply(const WritableI420& picture) {
  prepare(picture.width, picture.height);
  const auto at = [](std::uint8_t* plane, int stride, const Mask& mask, int row) {
    return plane + std::ptrdiff_t{mask.top + row} * stride + mask.left;
  };
  for (int row = 0; row < luma.height; ++row)
    posterizeRow(at(picture.y, picture.strideY, luma, row),
                 luma.strengths.data() + std::ptrdiff_t{row} * luma.width, luma.width);
  for (int row = 0; row < chroma.height; ++row) {
    const auto* strengths = chroma.strengths.data() + std::ptrdiff_t{row} * chroma.width;
    tintRow(at(picture.u, picture.strideU, chroma, row), strengths, chroma.width, kTint.u);
    tintRow(at(picture.v, picture.strideV, chroma, row), strengths, chroma.width, kTint.v);
  }

  const int chromaWidth = (width + 1) / 2;
  const int chromaRows = height * 9 / 20;  // above the lowest tenth, which stays as it is
  const int thickness = std::max(1, width / 320);
  frame(picture.y, picture.strideY, width, 2 * chromaRows, 2 * thickness, kBorder.y);
  frame(picture.u, picture.strideU, chromaWidth, chromaRows, thickness, kBorder.u);
  frame(picture.v, picture.strideV, chromaWidth, chromaRows, thickness, kBorder.v);
}

}  // namespace quorvex::service
