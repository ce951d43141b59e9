#include "platform/Uuid.h"

#include <array>
#include <cstdint>
#include <random>

namespace quorvex {

std::string randomUuid() {
  std::random_device source;
  std::array<std::uint8_t, 16> bytes{};
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(source());
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // the usual variant
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back("0123456789abcdef"[bytes[i] >> 4]);
    text.push_back("0123456789abcdef"[bytes[i] & 15]);
  }
  return text;
}

}  // namespace quorvex
