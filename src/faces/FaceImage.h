#pragma once

#include <optional>
#include <string>

#include "platform/ImageCodec.h"

namespace quorvex {

/// The photo in `file` as the service wants it: at most `maxPixelSize` pixels on its longer side,
/// with a white margin of the fraction `margin` of its width at the left and the right and of its
/// height at the top and the bottom, as standard base64 of a JPEG. None when the file holds no
/// photo that can be read. Any thread; takes up to a second.
[[nodiscard]] std::optional<std::string> encodeFaceImage(const ImageCodec& images,
                                                         const std::string& file, int maxPixelSize,
                                                         double margin);

}  // namespace quorvex
