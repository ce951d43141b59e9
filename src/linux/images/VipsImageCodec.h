#pragma once

#include "platform/ImageCodec.h"

namespace quorvex {

/// Reads JPEG, PNG, WebP, TIFF, GIF and HEIC by libvips, whatever a file is called, and nothing
/// else: every other loader of the library is closed to the whole process. What it reads is
/// streamed and reduced while it is decoded; nothing of a file or its name is printed.
class VipsImageCodec final : public ImageCodec {
 public:
  /// Starts the library the first time; ends the program when it cannot be started.
  VipsImageCodec();

  [[nodiscard]] std::optional<RgbImage> thumbnail(const std::string& path,
                                                  int maxPixelSize) const override;
  [[nodiscard]] std::optional<std::string> jpeg(const RgbImage& image,
                                                double quality) const override;
};

}  // namespace quorvex
