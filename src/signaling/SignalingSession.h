#pragma once

#include <optional>
#include <string>

namespace quorvex {

/// What the service knows this host by while it is live.
struct SignalingSession {
  std::string token;     ///< bearer token; never written to a log
  std::string userUUID;  ///< the service's user id
  std::string type;      ///< "auth" for an account, else the kind the service named
  std::string brandID = "quorvex";
  std::optional<std::string> clientID;  ///< learnt from the status socket's "identity"
};

}  // namespace quorvex
