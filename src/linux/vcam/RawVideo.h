#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/PixelBuffer.h"

namespace quorvex {

/// How a reader wants a picture to lie in memory: without padding between rows or planes.
enum class RawVideoFormat {
  nv12,  ///< Y, then Cb and Cr in pairs
  i420,  ///< Y, Cb, Cr
  yuy2   ///< Y0 Cb Y1 Cr; each chroma row stands for the two rows it came from
};

/// Bytes of one virtual camera picture.
[[nodiscard]] std::size_t rawVideoBytes(RawVideoFormat format);

/// Bytes of one row of its first plane.
[[nodiscard]] int rawVideoStride(RawVideoFormat format);

/// Writes the 1280x720 420v `picture` to the `rawVideoBytes(format)` bytes at `out`. Sample values
/// are not changed.
void writeRawVideo(const PixelBuffer& picture, RawVideoFormat format, std::uint8_t* out);

}  // namespace quorvex
