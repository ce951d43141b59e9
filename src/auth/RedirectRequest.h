#pragma once

#include <optional>
#include <string>

namespace quorvex {

/// What the browser brings back from the service.
struct RedirectRequest {
  std::optional<std::string> code;
  std::optional<std::string> state;
};

/// Reads the query of an HTTP request's first line. What is missing or cannot be read as a URL is
/// none; of a name that comes twice the first counts.
[[nodiscard]] RedirectRequest parseRedirect(const std::string& request);

/// The whole HTTP reply that the browser is shown.
[[nodiscard]] std::string signedInPage();

}  // namespace quorvex
