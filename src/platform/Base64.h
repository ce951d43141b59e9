#pragma once

#include <string>
#include <string_view>

namespace quorvex {

/// Standard base64, padded, without line breaks.
[[nodiscard]] std::string base64(std::string_view bytes);

}  // namespace quorvex
