#pragma once

#include <vector>

#include "service/Http.h"
#include "service/Options.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// Hands out device sessions and the list of ICE servers. Used on the service's thread.
class SessionEndpoint {
 public:
  static constexpr const char* kBrand = "quorvex";

  SessionEndpoint(const Tokens& tokens, std::vector<IceServerOption> iceServers);

  /// POST api/session-token. A device id that is a user id of this service stays that user.
  void mint(const HttpRequest& request, const Respond& respond) const;
  /// GET api/turn-credentials.
  void turnCredentials(const HttpRequest& request, const Respond& respond) const;

 private:
  const Tokens& tokens;
  std::vector<IceServerOption> iceServers;
};

}  // namespace quorvex::service
