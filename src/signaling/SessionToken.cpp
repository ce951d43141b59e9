#include "signaling/SessionToken.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "support/Json.h"

namespace quorvex {
namespace {

constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Standard base64 with its padding; none for anything else.
std::optional<std::string> base64Decoded(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  text.remove_suffix(padding);
  std::string bytes;
  std::uint32_t bits = 0;
  int held = 0;
  for (const char digit : text) {
    const auto value = kBase64Digits.find(digit);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes.push_back(static_cast<char>(bits >> held & 0xff));
  }
  return bytes;
}

SignalingError failed(std::string description) {
  return {.localizedDescription = std::move(description)};
}

}  // namespace

std::optional<std::string> brandClaim(std::string_view token) {
  const auto dot = token.find('.');
  if (dot == std::string_view::npos) return std::nullopt;
  std::string segment(token.substr(0, dot));
  std::replace(segment.begin(), segment.end(), '-', '+');
  std::replace(segment.begin(), segment.end(), '_', '/');
  while (segment.size() % 4 != 0) segment.push_back('=');
  const auto bytes = base64Decoded(segment);
  const auto claims = bytes ? parseObject(*bytes) : std::nullopt;
  return claims ? textMember(*claims, "brand_id") : std::nullopt;
}

std::variant<SignalingSession, SignalingError> parseSessionReply(const HttpResult& reply) {
  if (reply.error) return SignalingError{"transport", -1, *reply.error};
  if (reply.status == 0) return failed("no HTTP response");
  if (reply.status != 200 || !reply.body)
    return failed("session-token " + std::to_string(reply.status) + ": " +
                  decodedUtf8(reply.body.value_or("")).value_or(""));
  const auto object = parseObject(*reply.body);
  auto token = object ? textMember(*object, "token") : std::nullopt;
  auto user = object ? textMember(*object, "user_uuid") : std::nullopt;
  if (!token || !user) return failed("session-token: malformed JSON");
  SignalingSession session;
  session.brandID = brandClaim(*token).value_or("quorvex");
  session.token = std::move(*token);
  session.userUUID = std::move(*user);
  // A service that names no kind has given what was asked for: a device session.
  session.type = textMember(*object, "type").value_or("device");
  return session;
}

}  // namespace quorvex
