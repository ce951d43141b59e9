#pragma once

#include <cstdint>
#include <string>

namespace quorvex::service {

/// One of a host's ICE candidates, as it posts it.
struct IceCandidate {
  std::string candidate;  ///< the candidate line
  std::string sdpMid;     ///< empty: the index counts
  std::int32_t sdpMLineIndex = 0;
};

}  // namespace quorvex::service
