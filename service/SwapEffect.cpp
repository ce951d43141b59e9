#include "service/SwapEffect.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quorvex::service {
namespace {

struct Colour {
  std::uint8_t y, u, v;
};
constexpr Colour kBorder{200, 90, 180};
constexpr Colour kEnhancedBorder{160, 180, 90};
constexpr Colour kTint{0, 175, 160};  // the oval keeps its own brightness
constexpr double kSoftEdge = 0.15;    // of an oval's radius
constexpr int kWhole = 256;
// What a host adds around a face, as a fraction of the whole width or height.
constexpr double kFaceMargin = 0.18 / 1.36;
// The mouth within the oval: its centre and its radii, in radii of the oval.
constexpr double kMouthY = 0.55, kMouthRadiusX = 0.45, kMouthRadiusY = 0.22;

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

/// Mixes `count` samples of `face` into `row`.
void blendRow(std::uint8_t* row, const std::uint16_t* strengths, int count,
              const std::uint8_t* face) {
  for (int x = 0; x < count; ++x)
    row[x] = static_cast<std::uint8_t>(mixed(row[x], face[x], strengths[x]));
}

/// How far within an oval with a soft edge a point lies, its edge at a distance of 1: 0 to 1.
double within(double away) {
  return std::clamp((1 - away) / kSoftEdge, 0.0, 1.0);
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

/// Squares of `side` in the corners of the first `height` rows.
void corners(std::uint8_t* plane, int stride, int width, int height, int side, std::uint8_t value) {
  for (int y = 0; y < height; ++y) {
    if (y >= side && y < height - side) continue;
    std::uint8_t* row = plane + std::ptrdiff_t{y} * stride;
    std::memset(row, value, static_cast<std::size_t>(side));
    std::memset(row + width - side, value, static_cast<std::size_t>(side));
  }
}

template <class Work>
void eachRow(int rows, std::uint8_t* plane, int stride, int left, int top, Work work) {
  for (int row = 0; row < rows; ++row) work(plane + std::ptrdiff_t{top + row} * stride + left, row);
}

}  // namespace

SwapEffect::Mask SwapEffect::ovalOf(int planeWidth, int planeHeight, bool openMouth) {
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
      const double right = (mask.left + x + 0.5 - centreX) / radiusX;
      const double down = (mask.top + y + 0.5 - centreY) / radiusY;
      double strength = within(std::hypot(right, down));
      if (openMouth)
        strength *= 1 - within(std::hypot(right / kMouthRadiusX, (down - kMouthY) / kMouthRadiusY));
      mask.strengths.push_back(static_cast<std::uint16_t>(std::lround(strength * kWhole)));
    }
  }
  return mask;
}

void SwapEffect::prepare(int forWidth, int forHeight, const SwapSettings& settings) {
  if (width == forWidth && height == forHeight && mouthOpen == settings.mouthMask &&
      face == settings.face)
    return;
  width = forWidth;
  height = forHeight;
  mouthOpen = settings.mouthMask;
  luma = ovalOf(width, height, mouthOpen);
  chroma = ovalOf((width + 1) / 2, (height + 1) / 2, mouthOpen);
  face = settings.face;
  if (face) scaleFace();
}

void SwapEffect::scaleFace() {
  const auto scale = [](const std::vector<std::uint8_t>& from, int fromWidth, int fromHeight,
                        std::vector<std::uint8_t>& to, const Mask& mask) {
    const int left = static_cast<int>(kFaceMargin * fromWidth);
    const int top = static_cast<int>(kFaceMargin * fromHeight);
    to.resize(mask.strengths.size());
    libyuv::ScalePlane(from.data() + std::ptrdiff_t{top} * fromWidth + left, fromWidth,
                       fromWidth - 2 * left, fromHeight - 2 * top, to.data(), mask.width,
                       mask.width, mask.height, libyuv::kFilterBox);
  };
  const int halfWidth = (face->width + 1) / 2, halfHeight = (face->height + 1) / 2;
  scale(face->y, face->width, face->height, faceY, luma);
  scale(face->u, halfWidth, halfHeight, faceU, chroma);
  scale(face->v, halfWidth, halfHeight, faceV, chroma);
}

void SwapEffect::blendFace(const WritableI420& picture) const {
  const auto blend = [](std::uint8_t* plane, int stride, const Mask& mask,
                        const std::vector<std::uint8_t>& with) {
    eachRow(mask.height, plane, stride, mask.left, mask.top, [&](std::uint8_t* row, int index) {
      const auto start = std::ptrdiff_t{index} * mask.width;
      blendRow(row, mask.strengths.data() + start, mask.width, with.data() + start);
    });
  };
  blend(picture.y, picture.strideY, luma, faceY);
  blend(picture.u, picture.strideU, chroma, faceU);
  blend(picture.v, picture.strideV, chroma, faceV);
}

void SwapEffect::tint(const WritableI420& picture) const {
  eachRow(luma.height, picture.y, picture.strideY, luma.left, luma.top,
          [&](std::uint8_t* row, int index) {
            posterizeRow(row, luma.strengths.data() + std::ptrdiff_t{index} * luma.width,
                         luma.width);
          });
  const auto tintPlane = [&](std::uint8_t* plane, int stride, std::uint8_t value) {
    eachRow(chroma.height, plane, stride, chroma.left, chroma.top,
            [&](std::uint8_t* row, int index) {
              tintRow(row, chroma.strengths.data() + std::ptrdiff_t{index} * chroma.width,
                      chroma.width, value);
            });
  };
  tintPlane(picture.u, picture.strideU, kTint.u);
  tintPlane(picture.v, picture.strideV, kTint.v);
}

void SwapEffect::drawBorder(const WritableI420& picture, const SwapSettings& settings) const {
  const Colour& colour = settings.enhance ? kEnhancedBorder : kBorder;
  const int chromaRows = height * 9 / 20;  // above the lowest tenth, which stays as it is
  const int thickness = std::max(1, width / 320);
  const int block = std::min(8 * thickness, chromaRows / 2);
  const auto draw = [&](std::uint8_t* plane, int stride, int planeWidth, int scale,
                        std::uint8_t value) {
    frame(plane, stride, planeWidth, scale * chromaRows, scale * thickness, value);
    if (settings.locked)
      corners(plane, stride, planeWidth, scale * chromaRows, scale * block, value);
  };
  const int chromaWidth = (width + 1) / 2;
  draw(picture.y, picture.strideY, width, 2, colour.y);
  draw(picture.u, picture.strideU, chromaWidth, 1, colour.u);
  draw(picture.v, picture.strideV, chromaWidth, 1, colour.v);
}

void SwapEffect::apply(const WritableI420& picture, const SwapSettings& settings) {
  prepare(picture.width, picture.height, settings);
  if (face)
    blendFace(picture);
  else
    tint(picture);
  drawBorder(picture, settings);
}

}  // namespace quorvex::service
