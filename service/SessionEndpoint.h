#pragma once

#include <vector>

#include "service/Accounts.h"
#include "service/Http.h"
#include "service/Options.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// Hands out device sessions and the list of ICE servers. Used on the service's thread.
class SessionEndpoint {
 public:
  SessionEndpoint(const Tokens& tokens, const Accounts& accounts,
                  std::vector<IceServerOption> iceServers);

  /// POST api/session-token. A device id that is a user id of this service stays that user, unless
  /// it is an account's, which takes a sign-in.
  void mint(const HttpRequest& request, const Respond& respond) const;
  /// GET api/turn-credentials.
  void turnCredentials(const HttpRequest& request, const Respond& respond) const;

 private:
  const Tokens& tokens;
  const Accounts& accounts;
  std::vector<IceServerOption> iceServers;
};

}  // namespace quorvex::service
