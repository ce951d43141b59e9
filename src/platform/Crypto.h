#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvex {

/// The platform's cryptography. Thread-safe.
class Crypto {
 public:
  virtual ~Crypto() = default;

  /// `count` bytes from the system's secure source; none when it has none to give.
  [[nodiscard]] virtual std::optional<std::string> secureRandomBytes(int count) const = 0;
  /// The 32 bytes of the digest.
  [[nodiscard]] virtual std::string sha256(std::string_view bytes) const = 0;
};

}  // namespace quorvex
