#pragma once

#include <string>

#include "service/Clients.h"
#include "service/Faults.h"
#include "service/Http.h"
#include "service/JsonMembers.h"
#include "service/Socket.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// The status socket of one client: names the client, and takes what it says about itself and about
/// how it wants its picture. Wrong messages are answered with an error message.
class StatusSocket : public SocketHandler {
 public:
  static constexpr int kTokenRejected = 4001;

  StatusSocket(Clients& registry, const Tokens& tokens, const Faults& present,
               const HttpRequest& request);

  void opened(std::shared_ptr<SocketLink> openedLink) override;
  void received(const std::string& payload, bool isText) override;
  void closed() override;

 private:
  void handle(const JsonMembers& message);
  void send(const nlohmann::json& message) const;

  Clients& clients;
  const Faults& faults;
  std::string refusedBecause;  ///< not empty: the socket is only opened to be closed
  std::string userUuid;
  bool isSignedIn = false;
  std::string wantedId;
  std::string clientId;
  std::weak_ptr<SocketLink> link;
};

}  // namespace quorvex::service
