#pragma once

#include "platform/Crypto.h"

namespace quorvex {

/// The kernel's randomness and Qt's digests.
class SystemCrypto : public Crypto {
 public:
  [[nodiscard]] std::optional<std::string> secureRandomBytes(int count) const override;
  [[nodiscard]] std::string sha256(std::string_view bytes) const override;
};

}  // namespace quorvex
