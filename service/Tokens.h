#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include "service/Encoding.h"

namespace quorvex::service {

/// Issues bearer tokens and user ids, and knows its own again by their signature, so nothing is
/// kept for each. Those that are to be revocable belong to a grant, and die with it. The key is
/// made anew with each object: tokens of an earlier run are strangers. Used on one thread.
class Tokens {
 public:
  /// What a token says.
  struct Claims {
    std::string userUuid;
    std::string brand;
    std::string type;
    std::chrono::system_clock::time_point expiry;
    std::string grant{};  ///< empty: valid until it expires
  };

  static constexpr std::chrono::hours kLifetime{12};
  static constexpr const char* kBrand = "quorvex";

  Tokens();

  /// `<base64url of the claims as JSON>.<base64url of the signature>`
  [[nodiscard]] std::string issue(const Claims& claims) const;
  /// None unless `token` was issued here, its grant stands and it has not expired at `now`.
  [[nodiscard]] std::optional<Claims> verify(const std::string& token,
                                             std::chrono::system_clock::time_point now) const;

  [[nodiscard]] std::string newGrant();
  void endGrant(const std::string& grant) { grants.erase(grant); }

  [[nodiscard]] std::string newUser() const;
  [[nodiscard]] bool isOwnUser(const std::string& uuid) const;

 private:
  [[nodiscard]] std::string signature(std::string_view text) const;
  [[nodiscard]] std::string signedUser(const std::string& start) const;

  Bytes key;
  std::set<std::string> grants;
};

}  // namespace quorvex::service
