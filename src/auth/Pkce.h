#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Crypto.h"

namespace quorvex {

/// `bytes` of secure randomness as base64url without padding; none when there is no randomness.
[[nodiscard]] std::optional<std::string> randomURLSafe(const Crypto& crypto, int bytes);

/// The proof key's challenge (RFC 7636, S256) for a verifier.
[[nodiscard]] std::string codeChallenge(const Crypto& crypto, std::string_view verifier);

}  // namespace quorvex
