#pragma once

#include <array>

#include "platform/PixelBuffer.h"
#include "sink/PlaneScaler.h"

namespace quorvex {

/// The rectangle of a picture of `outWidth` x `outHeight` into which a frame of `width` x `height`
/// fits whole, centred, its shape kept. Even in all four numbers, so that chroma lies on it.
[[nodiscard]] PixelRect aspectFit(int width, int height, int outWidth, int outHeight);

/// Fits a 420v frame of any size into a larger or smaller 420v buffer, with black bars where their
/// shapes differ, and mirrors it left to right on request. Keeps the scaling tables of the geometry
/// it last saw, so that a steady stream allocates nothing here. One thread at a time.
class FrameFitter {
 public:
  /// Writes all of `out`, except bars that it already has.
  void fit(const PixelBuffer& in, bool flipped, PixelBuffer& out);

 private:
  std::array<PlaneScaler, 2> scalers;  // luma, chroma
};

}  // namespace quorvex
