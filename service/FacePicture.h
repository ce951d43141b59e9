#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvex::service {

/// A target face, decoded: I420, rows without padding.
struct FacePicture {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> y, u, v;
};

/// The picture that `base64`, standard base64, holds. Null when that is no whole JPEG of 4096
/// pixels a side at most.
[[nodiscard]] std::shared_ptr<const FacePicture> decodedFace(const std::string& base64);

}  // namespace quorvex::service
