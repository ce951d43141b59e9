#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "service/Encoding.h"

namespace quorvex::service {

/// Issues bearer tokens and user ids, and knows its own again by their signature, so nothing is
/// kept for each. The key is made anew with each object: tokens of an earlier run are strangers.
class Tokens {
 public:
  /// What a token says.
  struct Claims {
    std::string userUuid;
    std::string brand;
    std::string type;
    std::chrono::system_clock::time_point expiry;
  };

  static constexpr std::chrono::hours kLifetime{12};

  Tokens();

  /// `<base64url of the claims as JSON>.<base64url of the signature>`
  [[nodiscard]] std::string issue(const Claims& claims) const;
  /// None unless `token` was issued here and has not expired at `now`.
  [[nodiscard]] std::optional<Claims> verify(const std::string& token,
                                             std::chrono::system_clock::time_point now) const;

  [[nodiscard]] std::string newUser() const;
  [[nodiscard]] bool isOwnUser(const std::string& uuid) const;

 private:
  [[nodiscard]] std::string signature(std::string_view text) const;
  [[nodiscard]] std::string signedUser(const std::string& start) const;

  Bytes key;
};

}  // namespace quorvex::service
