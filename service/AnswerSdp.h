#pragma once

#include <string>

namespace quorvex::service {

/// The answer `sdp` with a hint, for the host's WebRTC engine, to begin sending video at a bitrate
/// that carries the full picture; without it the engine begins low and small and climbs for
/// seconds.
[[nodiscard]] std::string withStartBitrate(const std::string& sdp);

}  // namespace quorvex::service
