#include "auth/AuthError.h"

namespace quorvex {

std::string AuthError::description() const {
  switch (what) {
    case Case::listenerFailed:
      return "loopback listener failed: " + text;
    case Case::http:
      return "auth HTTP " + std::to_string(status) + ": " + text;
    case Case::browserOpenFailed:
      return "could not open the system browser";
    case Case::stateMismatch:
      return "state mismatch (possible CSRF) — sign-in aborted";
    case Case::noCode:
      return "no authorization code in the redirect";
    case Case::malformedResponse:
      return "malformed token response";
    case Case::notSignedIn:
      return "not signed in";
    case Case::secureRNGFailed:
      return "secure random generation failed — sign-in aborted";
  }
  return {};
}

std::string description(const AuthFailure& failure) {
  if (const auto* error = std::get_if<AuthError>(&failure)) return error->description();
  return std::get<TransportError>(failure).message;
}

}  // namespace quorvex
