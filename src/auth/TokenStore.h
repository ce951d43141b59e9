#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quorvex {

/// The signed-in account's tokens, as the signaling client needs them. Thread-safe.
class TokenStore {
 public:
  virtual ~TokenStore() = default;

  /// The cached access token while it is good for another 60 s.
  [[nodiscard]] virtual std::optional<std::string> validAccessToken() = 0;
  /// Present exactly while an account is signed in.
  [[nodiscard]] virtual std::optional<std::string> storedRefreshToken() = 0;
  /// Calls `completion` once, on any thread: with a fresh access token, or none when the refresh
  /// failed.
  virtual void refresh(std::function<void(std::optional<std::string> accessToken)> completion) = 0;
  [[nodiscard]] virtual std::optional<std::string> currentUserUUID() = 0;
  /// Forgets the access token that the service has rejected.
  virtual void invalidateAccessToken() = 0;
};

}  // namespace quorvex
