#include "auth/Pkce.h"

#include <algorithm>

#include "platform/Base64.h"

namespace quorvex {
namespace {

std::string urlSafe(std::string text) {
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  std::erase(text, '=');
  return text;
}

}  // namespace

std::optional<std::string> randomURLSafe(const Crypto& crypto, int bytes) {
  const auto random = crypto.secureRandomBytes(bytes);
  if (!random) return std::nullopt;
  return urlSafe(base64(*random));
}

std::string codeChallenge(const Crypto& crypto, std::string_view verifier) {
  return urlSafe(base64(crypto.sha256(verifier)));
}

}  // namespace quorvex
