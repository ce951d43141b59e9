#include "service/ControlEndpoint.h"

#include <algorithm>

#include "service/Authorization.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using SocketAction = std::function<void(SocketLink&)>;

constexpr std::size_t kLongestReason = 123;  // what a close frame can hold beside its code

JsonMembers bodyOf(const HttpRequest& request) {
  requireJson(request);
  return JsonMembers::parse(request.body, "the body");
}

SocketAction closing(const JsonMembers& body) {
  body.allowOnly({"close", "reason"});
  const int code = body.integer("close", 1000, 4999);
  if ((code >= 1004 && code <= 1006) || code == 1015)
    body.refuse("close", "a code that a close frame may hold");
  const std::string reason = body.has("reason") ? body.text("reason") : "";
  if (reason.size() > kLongestReason) body.refuse("reason", "at most 123 bytes long");
  return [code, reason](SocketLink& link) { link.close(code, reason); };
}

SocketAction actionOf(const JsonMembers& body) {
  if (body.has("close")) return closing(body);
  if (body.has("abort")) {
    body.allowOnly({"abort"});
    if (!body.flag("abort")) body.refuse("abort", "true");
    return [](SocketLink& link) { link.abort(); };
  }
  if (body.has("send")) {
    body.allowOnly({"send"});
    return [message = body.members("send").document()](SocketLink& link) { link.say(message); };
  }
  body.allowOnly({"text", "binary", "close", "abort", "send"});
  const bool isText = !body.has("binary") || !body.flag("binary");
  return [payload = body.text("text"), isText](SocketLink& link) { link.send(payload, isText); };
}

}  // namespace

ControlEndpoint::ControlEndpoint(const Parts& given) : parts(given) {
  enforce();
}

void ControlEndpoint::enforce() const {
  parts.engine.letPicturesFlow(parts.faults.mediaFlows);
  parts.admission.update();
}

void ControlEndpoint::change(const HttpRequest& request, const Respond& respond) const {
  parts.faults.take(bodyOf(request));
  enforce();
  respond({.status = 200, .body = parts.faults.document()});
}

void ControlEndpoint::actOnSockets(const HttpRequest& request, const Respond& respond) const {
  const SocketAction act = actionOf(bodyOf(request));
  for (const auto& [id, client] : parts.clients.all())
    if (const auto link = client.link.lock()) act(*link);
  respond({.status = 204});
}

void ControlEndpoint::actOnPeers(const HttpRequest& request, const Respond& respond) const {
  const auto body = bodyOf(request);
  body.allowOnly({"vanish"});
  if (!body.flag("vanish")) body.refuse("vanish", "true");
  // No host hears of it: what they watch of a connection is whether it still carries something.
  for (auto& [id, client] : parts.clients.all()) client.peer = nullptr;
  parts.admission.update();
  respond({.status = 204});
}

void ControlEndpoint::actOnAccounts(const HttpRequest& request, const Respond& respond) const {
  const auto body = bodyOf(request);
  body.allowOnly({"revoke"});
  if (!body.flag("revoke")) body.refuse("revoke", "true");
  parts.accounts.revokeAll();
  respond({.status = 204});
}

void ControlEndpoint::state(const HttpRequest&, const Respond& respond) const {
  respond({.status = 200,
           .body = json{{"clients", clientsDocument()},
                        {"requests", parts.router.requests()},
                        {"reports", reportsDocument()},
                        {"account", accountDocument()},
                        {"faults", parts.faults.document()}}});
}

json ControlEndpoint::clientsDocument() const {
  json documents = json::array();
  for (const auto& [id, client] : parts.clients.all()) {
    json document = {
        {"id", id}, {"connected", !client.link.expired()}, {"live", client.peer != nullptr}};
    const SwapSettings& settings = client.settings;
    document["settings"] = {{"face", settings.face != nullptr},
                            {"enhance", settings.enhance},
                            {"mouth_mask", settings.mouthMask},
                            {"paused", settings.paused},
                            {"locked", settings.locked}};
    if (client.peer) document["received_bytes"] = client.peer->receivedBytes();
    if (const auto position = parts.admission.positionOf(id)) document["position"] = *position;
    documents.push_back(std::move(document));
  }
  return documents;
}

json ControlEndpoint::reportsDocument() const {
  json documents = json::array();
  for (const auto& report : parts.diagnostics.last())
    documents.push_back({{"traceId", report.traceId},
                         {"connectionError", report.connectionError},
                         {"note", report.note}});
  return documents;
}

json ControlEndpoint::accountDocument() const {
  const auto signedIn = std::ranges::count_if(parts.clients.all(), [](const auto& entry) {
    return entry.second.isSignedIn && !entry.second.link.expired();
  });
  return {{"refresh_tokens", parts.accounts.refreshTokens(std::chrono::system_clock::now())},
          {"signed_in_clients", signedIn}};
}

}  // namespace quorvex::service
