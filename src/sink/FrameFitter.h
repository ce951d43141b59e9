#pragma once

#include <cstdint>
#include <vector>

#include "platform/PixelBuffer.h"

namespace quorvex {

/// The rectangle of a picture of `outWidth` x `outHeight` into which a frame of `width` x `height`
/// fits whole, centred, its shape kept. Even in all four numbers, so that chroma lies on it.
[[nodiscard]] PixelRect aspectFit(int width, int height, int outWidth, int outHeight);

/// Fits a 420v frame of any size into a larger or smaller 420v buffer, with black bars where their
/// shapes differ, and mirrors it left to right on request. Keeps scratch planes for the geometry it
/// last saw, so that a steady stream allocates nothing here. One thread at a time.
class FrameFitter {
 public:
  /// Writes all of `out`, except bars that it already has.
  void fit(const PixelBuffer& in, bool flipped, PixelBuffer& out);

 private:
  struct Plane {
    std::uint8_t* data = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
  };
  struct ConstPlane {
    const std::uint8_t* data = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
  };

  void scale(const ConstPlane& from, const Plane& to, bool flipped);
  static Plane scratchPlane(std::vector<std::uint8_t>& bytes, int width, int height);

  std::vector<std::uint8_t> sourceU, sourceV, scaledU, scaledV, mirrored;
};

}  // namespace quorvex
