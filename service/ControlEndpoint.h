#pragma once

#include "service/Accounts.h"
#include "service/Admission.h"
#include "service/Clients.h"
#include "service/DiagnosticReports.h"
#include "service/Faults.h"
#include "service/Http.h"
#include "service/MediaEngine.h"
#include "service/Router.h"

namespace quorvex::service {

/// Lets this machine's user make the service misbehave and see how it stands. What is posted must
/// say that it is JSON, which no web page may do unasked. Used on the service's thread.
class ControlEndpoint {
 public:
  struct Parts {
    Faults& faults;
    Clients& clients;
    Admission& admission;
    MediaEngine& engine;
    const DiagnosticReports& diagnostics;
    const Router& router;
    Accounts& accounts;
  };

  /// Puts the faults that stand already into force.
  explicit ControlEndpoint(const Parts& parts);

  /// POST control/faults. Replies with the faults as they stand then.
  void change(const HttpRequest& request, const Respond& respond) const;
  /// POST control/socket: acts on every open status socket.
  void actOnSockets(const HttpRequest& request, const Respond& respond) const;
  /// POST control/peers.
  void actOnPeers(const HttpRequest& request, const Respond& respond) const;
  /// POST control/accounts.
  void actOnAccounts(const HttpRequest& request, const Respond& respond) const;
  /// GET control/state.
  void state(const HttpRequest& request, const Respond& respond) const;

 private:
  void enforce() const;
  [[nodiscard]] nlohmann::json clientsDocument() const;
  [[nodiscard]] nlohmann::json reportsDocument() const;
  [[nodiscard]] nlohmann::json accountDocument() const;

  const Parts parts;
};

}  // namespace quorvex::service
