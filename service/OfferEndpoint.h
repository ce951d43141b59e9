#pragma once

#include <optional>

#include "service/Admission.h"
#include "service/Authorization.h"
#include "service/Clients.h"
#include "service/Http.h"
#include "service/MediaEngine.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// Takes the hosts' offers and ICE candidates. Used on the service's thread.
class OfferEndpoint {
 public:
  /// `sentSize` is that of the pictures sent back; none: as received.
  OfferEndpoint(const Tokens& tokens, Clients& clients, Admission& admission, const Faults& faults,
                MediaEngine& engine, std::optional<PictureSize> sentSize);

  /// POST ws/offer. Answers once the service's candidates are gathered, or at once with the
  /// client's position where it has to wait.
  void offer(const HttpRequest& request, Respond respond);
  /// POST ws/ice-candidate. A candidate may come before the offer that it belongs to.
  void candidate(const HttpRequest& request, const Respond& respond);

 private:
  [[nodiscard]] Client& clientOf(const JsonMembers& body, const Authorization& by);
  void answer(Client& client, const std::string& sdp, Respond respond);

  const Tokens& tokens;
  Clients& clients;
  Admission& admission;
  const Faults& faults;
  MediaEngine& engine;
  std::optional<PictureSize> sentSize;
};

}  // namespace quorvex::service
