#include "service/Clients.h"

#include "service/Encoding.h"

namespace quorvex::service {

Client* Clients::find(const std::string& id) {
  const auto found = byId.find(id);
  return found == byId.end() ? nullptr : &found->second;
}

Client* Clients::connect(const std::string& wantedId, const std::string& userUuid,
                         const std::shared_ptr<SocketLink>& link) {
  Client* client = find(wantedId);
  if (client && client->userUuid != userUuid) client = nullptr;
  if (!client) {
    if (byId.size() >= kMost) return nullptr;
    const std::string id = uuidOf(randomBytes(16));
    client = &byId[id];
    client->id = id;
    client->userUuid = userUuid;
  }
  client->removal = nullptr;
  const auto before = std::exchange(client->link, link).lock();
  if (before) before->close(1000, "the client has opened a newer socket");
  changed();
  return client;
}

void Clients::disconnected(const std::string& id, const std::shared_ptr<SocketLink>& link) {
  Client* client = find(id);
  if (!client || client->link.lock() != link) return;
  client->link.reset();
  client->removal = loop.after(longestAway, [this, id] {
    byId.erase(id);
    changed();
  });
}

}  // namespace quorvex::service
