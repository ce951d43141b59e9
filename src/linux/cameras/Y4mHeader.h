#pragma once

#include <cstddef>
#include <string_view>

namespace quorvex {

/// What a YUV4MPEG2 stream says of its pictures in its first line.
struct Y4mHeader {
  enum class Sampling { k420, k422, k444, kMono };

  int width = 0;
  int height = 0;
  double framesPerSecond = 0;
  Sampling sampling = Sampling::k420;

  /// The bytes of a chroma plane's row, and its rows; 0 for mono.
  [[nodiscard]] int chromaWidth() const;
  [[nodiscard]] int chromaHeight() const;
  [[nodiscard]] std::size_t frameBytes() const;
};

/// Reads a header line, without its line feed. Throws CameraError when it is none or describes
/// pictures that cannot be played; the message lacks its subject, the file.
[[nodiscard]] Y4mHeader parseY4mHeader(std::string_view line);

}  // namespace quorvex
