#pragma once

#include <string>
#include <variant>

namespace quorvex {

/// Why a sign-in or a token request failed.
struct AuthError {
  enum class Case {
    listenerFailed,
    http,
    browserOpenFailed,
    stateMismatch,
    noCode,
    malformedResponse,
    notSignedIn,
    secureRNGFailed,
  };

  [[nodiscard]] std::string description() const;
  bool operator==(const AuthError&) const = default;

  Case what = Case::notSignedIn;
  std::string text = {};  ///< a listener's message, or the body of an HTTP reply
  int status = 0;         ///< of an HTTP reply
};

/// A request that failed below HTTP, in the HTTP client's own words.
struct TransportError {
  std::string message;
  bool operator==(const TransportError&) const = default;
};

using AuthFailure = std::variant<AuthError, TransportError>;

[[nodiscard]] std::string description(const AuthFailure& failure);

}  // namespace quorvex
