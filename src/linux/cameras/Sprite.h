#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "linux/cameras/I420Picture.h"

namespace quorvex {

struct YuvColour {
  float y = 0;
  float u = 0;
  float v = 0;
};

/// Centre and radii as shares of the sprite's height.
struct Ellipse {
  float x = 0;
  float y = 0;
  float radiusX = 0;
  float radiusY = 0;
  YuvColour colour;
};

/// A small picture with soft edges, drawn once from ellipses and blended into others.
class Sprite {
 public:
  /// Draws the ellipses one over the other; what none of them covers stays transparent.
  Sprite(int width, int height, std::span<const Ellipse> ellipses);

  [[nodiscard]] int width() const { return picture.width; }
  [[nodiscard]] int height() const { return picture.height; }

  /// Blends itself in with its top left corner at x, y, which are even and leave it inside
  /// `target`.
  void blendOnto(I420Picture& target, int x, int y) const;

 private:
  I420Picture picture;
  std::vector<std::uint8_t> alpha;
};

}  // namespace quorvex
