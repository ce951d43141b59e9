#include "service/Authorization.h"

#include <algorithm>
#include <cctype>

namespace quorvex::service {
namespace {

constexpr const char* kScheme = "Bearer ";

}  // namespace

Authorization bearerOf(const HttpRequest& request, const Tokens& tokens) {
  const auto header = request.header("authorization");
  if (!header || !header->starts_with(kScheme))
    throw Refusal{401, "header Authorization must be \"Bearer \" and the session's token"};
  std::string token = header->substr(std::string(kScheme).size());
  auto claims = tokens.verify(token, std::chrono::system_clock::now());
  if (!claims)
    throw Refusal{
        401,
        "the token is not one of this service's, has expired or is revoked; get a new one "
        "from api/session-token or api/native/refresh"};
  return {std::move(token), std::move(*claims)};
}

Authorization authorize(const HttpRequest& request, const Tokens& tokens) {
  Authorization authorization = bearerOf(request, tokens);
  if (request.header("x-brand-id") != authorization.claims.brand)
    throw Refusal{403, "header X-Brand-Id must be the token's brand_id"};
  return authorization;
}

void requireJson(const HttpRequest& request) {
  std::string type = request.header("content-type").value_or("");
  type = type.substr(0, type.find(';'));
  while (type.ends_with(' ')) type.pop_back();
  std::transform(type.begin(), type.end(), type.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  if (type != "application/json")
    throw Refusal{415, "header Content-Type must be application/json"};
}

}  // namespace quorvex::service
