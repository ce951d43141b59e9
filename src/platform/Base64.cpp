#include "platform/Base64.h"

#include <algorithm>
#include <cstdint>

namespace quorvex {

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j)
      group = group << 8 | (j < count ? static_cast<std::uint8_t>(bytes[i + j]) : 0u);
    for (std::size_t digit = 0; digit < 4; ++digit)
      text += digit <= count ? kDigits[group >> (18 - 6 * digit) & 63] : '=';
  }
  return text;
}

}  // namespace quorvex
