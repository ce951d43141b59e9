#pragma once

#include <string>
#include <string_view>

namespace quorvex {

/// `text` as the value of a URL's query item: each byte but the unreserved ones as %XX.
[[nodiscard]] inline std::string percentEncoded(std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string encodedText;
  for (const unsigned char c : text) {
    if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
        c == '.' || c == '_' || c == '~') {
      encodedText.push_back(static_cast<char>(c));
    } else {
      encodedText.append({'%', kHex[c >> 4], kHex[c & 15]});
    }
  }
  return encodedText;
}

}  // namespace quorvex
