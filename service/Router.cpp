#include "service/Router.h"

namespace quorvex::service {

void Router::add(const std::string& method, const std::string& path, Endpoint endpoint) {
  endpoints[path][method] = std::move(endpoint);
}

void Router::addSocket(const std::string& path, SocketEndpoint endpoint) {
  sockets[path] = std::move(endpoint);
}

HttpReply Router::refused(const Refusal& refusal) {
  return {.status = refusal.status, .body = nlohmann::json{{"error", refusal.why}}, .headers = {}};
}

FaultyReply Router::arrived(const HttpRequest& request) {
  const std::string& path = request.path;
  const bool isKnown = endpoints.contains(path) || sockets.contains(path);
  if (!isKnown || path.starts_with("/control/")) return {};
  const std::string name = path.substr(path.rfind('/') + 1);
  ++counts[name];
  return faults.nextReply(name);
}

void Router::handle(const HttpRequest& request, const Respond& respond) const {
  const auto found = endpoints.find(request.path);
  if (found == endpoints.end()) {
    if (sockets.contains(request.path))
      respond(refused({426, "this path is a WebSocket; ask for it with Upgrade: websocket"}));
    else
      respond(refused({404, "there is nothing at this path"}));
    return;
  }
  const auto endpoint = found->second.find(request.method);
  if (endpoint == found->second.end()) {
    std::string allowed;
    for (const auto& [method, unused] : found->second)
      allowed += (allowed.empty() ? "" : ", ") + method;
    HttpReply reply = refused({405, "this path answers " + allowed + " only"});
    reply.headers["Allow"] = allowed;
    respond(reply);
    return;
  }
  try {
    endpoint->second(request, respond);
  } catch (const Refusal& refusal) {
    respond(refused(refusal));
  }
}

std::unique_ptr<SocketHandler> Router::open(const HttpRequest& request) const {
  const auto found = sockets.find(request.path);
  return found == sockets.end() ? nullptr : found->second(request);
}

}  // namespace quorvex::service
