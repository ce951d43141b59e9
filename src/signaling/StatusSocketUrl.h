#pragma once

#include <string>
#include <variant>

#include "signaling/SignalingSession.h"

namespace quorvex {

struct StatusSocketUrlProblem {
  std::string message;
};

/// The status socket's address for `session`: the client id, when there is one, and the user.
[[nodiscard]] std::variant<std::string, StatusSocketUrlProblem> statusSocketUrl(
    const std::string& socketBase, const SignalingSession& session);

}  // namespace quorvex
