#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PixelBuffer.h"

namespace quorvex {

/// Bytes that readers are being sent; whoever sends them holds them.
using Y4mBlock = std::shared_ptr<const std::vector<std::uint8_t>>;

/// The newest picture as a frame of a YUV4MPEG2 stream, converted when the first reader asks for it
/// and only once for all of them. Memory is recycled. For one thread.
class Y4mFrames {
 public:
  /// What a stream begins with.
  [[nodiscard]] static Y4mBlock header();

  /// A new frame begins, with another picture or with the one before.
  void show(PixelBufferRef newPicture);
  void repeat() { ++frame; }

  /// Counts frames from 1; 0 before the first.
  [[nodiscard]] std::uint64_t number() const { return frame; }

  /// The bytes of frame `number()`, which must not be 0.
  [[nodiscard]] Y4mBlock block();

 private:
  std::uint64_t frame = 0;
  PixelBufferRef picture;  ///< none once it is converted
  std::shared_ptr<std::vector<std::uint8_t>> converted;
  std::vector<std::shared_ptr<std::vector<std::uint8_t>>> blocks;
};

}  // namespace quorvex
