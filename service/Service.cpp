#include "service/Service.h"

#include <unistd.h>

#include "service/AccountEndpoint.h"
#include "service/Accounts.h"
#include "service/Admission.h"
#include "service/Clients.h"
#include "service/ControlEndpoint.h"
#include "service/DiagnosticReports.h"
#include "service/HttpServer.h"
#include "service/MediaEngine.h"
#include "service/OfferEndpoint.h"
#include "service/Router.h"
#include "service/SessionEndpoint.h"
#include "service/StatusSocket.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// In the order in which the parts stand on each other.
struct Service::Parts {
  Parts(ServiceLoop& loop, const Options& given)
      : options(given),
        faults(given.faults),
        engine([&loop](Task task) { loop.async(std::move(task)); }),
        clients(loop),
        admission(loop, clients, faults),
        accounts(tokens, faults),
        accountEndpoint(accounts),
        sessions(tokens, accounts, options.iceServers),
        offers(tokens, clients, admission, faults, engine, options.size),
        router(faults),
        control({faults, clients, admission, engine, diagnostics, router, accounts}),
        server(loop, router, options.log) {
    const auto to = [](auto& endpoint, auto operation) {
      return [&endpoint, operation](const HttpRequest& request, const Respond& respond) {
        (endpoint.*operation)(request, respond);
      };
    };
    router.add("POST", "/api/session-token", to(sessions, &SessionEndpoint::mint));
    router.add("GET", "/api/turn-credentials", to(sessions, &SessionEndpoint::turnCredentials));
    router.add("GET", "/native/authorize", to(accountEndpoint, &AccountEndpoint::ask));
    router.add("POST", "/native/authorize", to(accountEndpoint, &AccountEndpoint::decide));
    router.add("POST", "/api/native/token", to(accountEndpoint, &AccountEndpoint::exchange));
    router.add("POST", "/api/native/refresh", to(accountEndpoint, &AccountEndpoint::refresh));
    router.add("POST", "/ws/offer", to(offers, &OfferEndpoint::offer));
    router.add("POST", "/ws/ice-candidate", to(offers, &OfferEndpoint::candidate));
    router.add("POST", "/api/diagnostic-report", to(diagnostics, &DiagnosticReports::take));
    router.add("POST", "/control/faults", to(control, &ControlEndpoint::change));
    router.add("POST", "/control/socket", to(control, &ControlEndpoint::actOnSockets));
    router.add("POST", "/control/peers", to(control, &ControlEndpoint::actOnPeers));
    router.add("POST", "/control/accounts", to(control, &ControlEndpoint::actOnAccounts));
    router.add("GET", "/control/state", to(control, &ControlEndpoint::state));
    router.addSocket("/ws/status", [this](const HttpRequest& request) {
      return std::make_unique<StatusSocket>(clients, tokens, faults, request);
    });
  }

  Options options;
  Faults faults;
  Tokens tokens;
  MediaEngine engine;
  Clients clients;
  Admission admission;
  Accounts accounts;
  AccountEndpoint accountEndpoint;
  SessionEndpoint sessions;
  OfferEndpoint offers;
  DiagnosticReports diagnostics;
  Router router;
  ControlEndpoint control;
  HttpServer server;
};

Service::Service(ServiceLoop& loop, const Options& options)
    : parts(std::make_unique<Parts>(loop, options)) {}
Service::~Service() = default;

std::optional<std::string> Service::listen() {
  const auto error = parts->server.listen(parts->options.port);
  if (!error) return std::nullopt;
  return "port " + std::to_string(parts->options.port) + " of 127.0.0.1 cannot be had (" + *error +
         "); choose another with --port";
}

std::string Service::addressLine() const {
  const std::string place = "://127.0.0.1:" + std::to_string(port()) + "/";
  const nlohmann::json line = {{"web", "http" + place},
                               {"api", "http" + place},
                               {"socket", "ws" + place},
                               {"pid", getpid()}};
  return line.dump();
}

std::uint16_t Service::port() const {
  return parts->server.port();
}

}  // namespace quorvex::service
