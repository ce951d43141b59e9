#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "platform/RtcEngine.h"

namespace quorvex {

/// The servers that a body of "api/turn-credentials" names, in its order, elements without a usable
/// URL left out. None when the body is no JSON object.
[[nodiscard]] std::optional<std::vector<RtcIceServer>> parseIceServers(std::string_view body);

}  // namespace quorvex
