#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvex {

/// A picture in memory: sRGB, three bytes a pixel, rows from top to bottom without padding.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;
};

/// Reads photos and writes JPEG. Thread-safe; a call takes up to a second.
class ImageCodec {
 public:
  virtual ~ImageCodec() = default;

  /// The first picture of a file, made upright, reduced until its longer side is `maxPixelSize`
  /// pixels at most (never enlarged), converted to sRGB and laid on white where it is transparent.
  /// None when the file holds no picture that can be had: no regular file, unreadable, no known
  /// format, cut short, too large or too small to be a photo.
  [[nodiscard]] virtual std::optional<RgbImage> thumbnail(const std::string& path,
                                                          int maxPixelSize) const = 0;

  /// `quality` from 0 to 1. None when the encoder fails.
  [[nodiscard]] virtual std::optional<std::string> jpeg(const RgbImage& image,
                                                        double quality) const = 0;
};

}  // namespace quorvex
