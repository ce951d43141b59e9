#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "service/Http.h"
#include "service/Socket.h"

namespace quorvex::service {

/// Which endpoint answers which request. Filled before the server listens; used on the service's
/// thread.
class Router {
 public:
  using SocketEndpoint = std::function<std::unique_ptr<SocketHandler>(const HttpRequest&)>;

  void add(const std::string& method, const std::string& path, Endpoint endpoint);
  void addSocket(const std::string& path, SocketEndpoint endpoint);

  /// Answers through `respond` in every case: unknown paths, wrong methods and refusals too.
  void handle(const HttpRequest& request, const Respond& respond) const;
  /// Null when `request`, which asks for a WebSocket, is for no path that is one.
  [[nodiscard]] std::unique_ptr<SocketHandler> open(const HttpRequest& request) const;

  /// The reply that says why a request is refused.
  [[nodiscard]] static HttpReply refused(const Refusal& refusal);

 private:
  std::map<std::string, std::map<std::string, Endpoint>> endpoints;  ///< by path, then method
  std::map<std::string, SocketEndpoint> sockets;
};

}  // namespace quorvex::service
