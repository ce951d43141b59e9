#pragma once

#include <cstdint>
#include <optional>

#include "linux/cameras/I420Picture.h"

namespace quorvex {

/// A frame number as black and white cells over the whole width of the bottom tenth of a picture,
/// large enough to survive a video codec and scaling: two rows of 26, the outer columns fixed
/// marks, between them the number and 16 check bits. Pure functions, thread-safe.

/// The narrowest picture whose stamp can be read, in pixels.
constexpr int kNarrowestStamp = 320;

void paintFrameStamp(std::uint32_t number, I420Picture& picture);

/// The number in the picture that fills `content` (in pixels, inside the plane), mirrored
/// horizontally or not. None when the marks or the check bits do not agree.
[[nodiscard]] std::optional<std::uint32_t> readFrameStamp(const std::uint8_t* luma, int stride,
                                                          const PixelRect& content);

}  // namespace quorvex
