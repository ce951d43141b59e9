#include "service/StatusSocket.h"

#include "service/Accounts.h"
#include "service/Authorization.h"

namespace quorvex::service {
namespace {

constexpr int kTryAgainLater = 1013;

std::string queried(const HttpRequest& request, const char* name) {
  const auto found = request.query.find(name);
  return found == request.query.end() ? "" : found->second;
}

void checkDeviceInfo(const JsonMembers& info, const std::string& userUuid) {
  (void)info.text("os");
  (void)info.text("app");
  if (info.text("userUuid") != userUuid)
    throw Refusal{400, "member \"device_info.userUuid\" must be the session's user_uuid"};
}

}  // namespace

StatusSocket::StatusSocket(Clients& registry, const Tokens& tokens, const Faults& present,
                           const HttpRequest& request)
    : clients(registry), faults(present), wantedId(queried(request, "client_id")) {
  try {
    const Tokens::Claims claims = bearerOf(request, tokens).claims;
    userUuid = claims.userUuid;
    isSignedIn = claims.type == Accounts::kTokenType;
    if (queried(request, "user_uuid") != userUuid) refusedBecause = "user_uuid is not the token's";
  } catch (const Refusal&) {
    refusedBecause = "token rejected";
  }
}

void StatusSocket::opened(std::shared_ptr<SocketLink> openedLink) {
  link = openedLink;
  if (!refusedBecause.empty()) {
    openedLink->close(kTokenRejected, refusedBecause);
    return;
  }
  Client* client = clients.connect(wantedId, userUuid, openedLink);
  if (!client) {
    openedLink->close(kTryAgainLater, "the service has as many clients as it can hold");
    return;
  }
  client->isSignedIn = isSignedIn;
  clientId = client->id;
  if (faults.identifies) send({{"type", "identity"}, {"client_id", clientId}});
}

void StatusSocket::received(const std::string& payload, bool isText) {
  try {
    if (!isText) throw Refusal{400, "a message must be a text frame"};
    handle(JsonMembers::parse(payload, "a message"));
  } catch (const Refusal& refusal) {
    send({{"type", "error"}, {"error_type", "BAD_MESSAGE"}, {"message", refusal.why}});
  }
}

void StatusSocket::handle(const JsonMembers& message) {
  const std::string& type = message.text("type");
  if (message.text("client_id") != clientId)
    throw Refusal{400, "member \"client_id\" must be the one of this socket's \"identity\""};
  Client* client = clients.find(clientId);
  if (type == "device_info") {
    message.allowOnly({"type", "client_id", "device_info"});
    checkDeviceInfo(message.members("device_info"), userUuid);
  } else if (type == "config_update") {
    message.allowOnly({"type", "client_id", "config"});
    client->settings.takeUpdate(message.members("config"));
  } else if (type == "calibrate" || type == "clear_lock") {
    message.allowOnly({"type", "client_id"});
    client->settings.locked = type == "calibrate";
  } else {
    throw Refusal{400,
                  "member \"type\" must be \"device_info\", \"config_update\", "
                  "\"calibrate\" or \"clear_lock\""};
  }
  if (client->peer) client->peer->show(client->settings);
}

void StatusSocket::send(const nlohmann::json& message) const {
  if (const auto open = link.lock()) open->say(message);
}

void StatusSocket::closed() {
  clients.disconnected(clientId, link.lock());
}

}  // namespace quorvex::service
