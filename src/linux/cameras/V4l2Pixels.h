#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "linux/cameras/I420Picture.h"

namespace quorvex {

/// The pixel formats of webcams (the kernel's four-character codes) that can be turned into I420.
/// Pure functions, thread-safe.

/// What turning one pixel into I420 costs, relative to others; none for a format that cannot be.
[[nodiscard]] std::optional<int> conversionCost(FourCharCode pixelFormat);

/// The code as its four characters, for people.
[[nodiscard]] std::string pixelFormatName(FourCharCode pixelFormat);

/// Converts a camera's picture of the size of `picture`. `bytesPerLine` is that of its first plane.
/// False, with `picture` in any state, when the bytes are too few or no sound picture.
[[nodiscard]] bool convertToI420(FourCharCode pixelFormat, const std::uint8_t* bytes,
                                 std::size_t count, int bytesPerLine, I420Picture& picture);

}  // namespace quorvex
