#include "service/Tokens.h"

#include <nlohmann/json.hpp>

namespace quorvex::service {
namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

constexpr std::size_t kUserStart = 24;  // of a UUID's 36 characters

}  // namespace

Tokens::Tokens() : key(randomBytes(32)) {}

std::string Tokens::signature(std::string_view text) const {
  return base64Url(hmacSha256(key, text));
}

std::string Tokens::issue(const Claims& claims) const {
  const auto expiry = std::chrono::duration_cast<seconds>(claims.expiry.time_since_epoch());
  const nlohmann::json content = {{"brand_id", claims.brand},
                                  {"user_uuid", claims.userUuid},
                                  {"type", claims.type},
                                  {"grant", claims.grant},
                                  {"exp", expiry.count()}};
  const std::string first = base64Url(content.dump());
  return first + "." + signature(first);
}

std::optional<Tokens::Claims> Tokens::verify(const std::string& token,
                                             system_clock::time_point now) const {
  const auto dot = token.find('.');
  if (dot == std::string::npos) return std::nullopt;
  const std::string first = token.substr(0, dot);
  if (!equalInConstantTime(token.substr(dot + 1), signature(first))) return std::nullopt;
  // What carries the signature was written by `issue`, so its form needs no further doubt.
  const auto content = nlohmann::json::parse(base64UrlDecoded(first).value());
  const system_clock::time_point expiry(seconds(content.at("exp").get<std::int64_t>()));
  const std::string grant = content.at("grant");
  if (now >= expiry || (!grant.empty() && !grants.contains(grant))) return std::nullopt;
  return Claims{content.at("user_uuid"), content.at("brand_id"), content.at("type"), expiry, grant};
}

std::string Tokens::newGrant() {
  return *grants.insert(base64Url(randomBytes(16))).first;
}

/// The last twelve digits of a user id are a signature of what precedes them.
std::string Tokens::signedUser(const std::string& start) const {
  return start + uuidOf(hmacSha256(key, start)).substr(kUserStart);
}

std::string Tokens::newUser() const {
  return signedUser(uuidOf(randomBytes(16)).substr(0, kUserStart));
}

bool Tokens::isOwnUser(const std::string& uuid) const {
  return equalInConstantTime(signedUser(uuid.substr(0, kUserStart)), uuid);
}

}  // namespace quorvex::service
