#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/HttpClient.h"
#include "signaling/SignalingSession.h"

namespace quorvex {

/// Why the signaling client could not do what it was asked.
struct SignalingError {
  std::string domain = "com.tessaly.quorvexcamera.signaling";
  int code = -1;
  std::string localizedDescription;
};

/// The brand named inside a session token's first segment; none when there is none to be read.
[[nodiscard]] std::optional<std::string> brandClaim(std::string_view token);

/// The device session that a reply of "api/session-token" grants; its client id is left empty.
[[nodiscard]] std::variant<SignalingSession, SignalingError> parseSessionReply(
    const HttpResult& reply);

}  // namespace quorvex
