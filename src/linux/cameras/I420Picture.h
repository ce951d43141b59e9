#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/PixelBuffer.h"

namespace quorvex {

/// A planar 4:2:0 picture that is allocated once and written again and again. Its planes follow one
/// another without padding, as files and most cameras have them.
class I420Picture {
 public:
  I420Picture() = default;
  I420Picture(int pictureWidth, int pictureHeight)
      : width(pictureWidth), height(pictureHeight), bytes(lumaSize() + 2 * chromaSize()) {}

  [[nodiscard]] int strideY() const { return width; }
  [[nodiscard]] int strideChroma() const { return (width + 1) / 2; }
  [[nodiscard]] std::uint8_t* y() { return bytes.data(); }
  [[nodiscard]] std::uint8_t* u() { return y() + lumaSize(); }
  [[nodiscard]] std::uint8_t* v() { return u() + chromaSize(); }
  [[nodiscard]] std::size_t size() const { return bytes.size(); }

  [[nodiscard]] I420View view() const {
    const std::uint8_t* luma = bytes.data();
    return {width,
            height,
            luma,
            luma + lumaSize(),
            luma + lumaSize() + chromaSize(),
            strideY(),
            strideChroma(),
            strideChroma()};
  }

  int width = 0;
  int height = 0;

 private:
  [[nodiscard]] std::size_t lumaSize() const { return static_cast<std::size_t>(width) * height; }
  [[nodiscard]] std::size_t chromaSize() const {
    return static_cast<std::size_t>((width + 1) / 2) * ((height + 1) / 2);
  }

  std::vector<std::uint8_t> bytes;
};

}  // namespace quorvex
