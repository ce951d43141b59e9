#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/IceCandidate.h"
#include "service/MediaPeer.h"
#include "service/ServiceLoop.h"
#include "service/Socket.h"
#include "service/SwapSettings.h"

namespace quorvex::service {

/// One host as the service knows it, from its first status socket until some time after its last.
struct Client {
  std::string id;
  std::string userUuid;
  std::weak_ptr<SocketLink> link;  ///< its status socket; none while it is away
  bool isSignedIn = false;         ///< `link` was opened with an account's token
  SwapSettings settings;
  std::unique_ptr<MediaPeer> peer;
  std::string iceUfrag;                  ///< of the offer that `peer` answers
  std::vector<IceCandidate> candidates;  ///< those that came before their offer
  std::unique_ptr<Timer> removal;        ///< set while it is away
};

/// The registry of clients. Used on the service's thread.
class Clients {
 public:
  static constexpr std::size_t kMost = 64;
  static constexpr Seconds kGrace{10};

  /// A client that is away for `grace` is forgotten, and its peer with it.
  explicit Clients(ServiceLoop& serviceLoop, Seconds grace = kGrace)
      : loop(serviceLoop), longestAway(grace) {}

  /// The client of a newly opened status socket: the one named `wantedId` when there is one and it
  /// is this user's, else a new one. A socket it already had is closed. Null when the house is
  /// full.
  Client* connect(const std::string& wantedId, const std::string& userUuid,
                  const std::shared_ptr<SocketLink>& link);
  /// `link` has ended. If it is still the client's, its time to return begins.
  void disconnected(const std::string& id, const std::shared_ptr<SocketLink>& link);

  /// Null when there is none.
  [[nodiscard]] Client* find(const std::string& id);
  /// By id.
  [[nodiscard]] std::map<std::string, Client>& all() { return byId; }

  /// `listener` is called after a client has come, has returned or has been forgotten.
  void onChange(std::function<void()> listener) { changed = std::move(listener); }

 private:
  ServiceLoop& loop;
  Seconds longestAway;
  std::map<std::string, Client> byId;
  std::function<void()> changed = [] {};
};

}  // namespace quorvex::service
