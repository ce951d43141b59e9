#pragma once

#include <string>

#include "service/Http.h"
#include "service/Tokens.h"

namespace quorvex::service {

struct Authorization {
  std::string token;
  Tokens::Claims claims;
};

/// The bearer token of a request. Throws a `Refusal` (401) when there is none or it is not valid.
[[nodiscard]] Authorization bearerOf(const HttpRequest& request, const Tokens& tokens);

/// The same for a request that also names its brand, which must be the token's (403).
[[nodiscard]] Authorization authorize(const HttpRequest& request, const Tokens& tokens);

/// Throws a `Refusal` (415) unless the request says that its body is JSON.
void requireJson(const HttpRequest& request);

}  // namespace quorvex::service
