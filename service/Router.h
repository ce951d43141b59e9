#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "service/Faults.h"
#include "service/Http.h"
#include "service/Socket.h"

namespace quorvex::service {

/// Which endpoint answers which request, and whether it may. An endpoint's name, for its faults and
/// its count, is the last part of its path. Filled before the server listens; used on the service's
/// thread.
class Router {
 public:
  using SocketEndpoint = std::function<std::unique_ptr<SocketHandler>(const HttpRequest&)>;

  explicit Router(Faults& present) : faults(present) {}

  void add(const std::string& method, const std::string& path, Endpoint endpoint);
  void addSocket(const std::string& path, SocketEndpoint endpoint);

  /// Counts `request` and says what is to be wrong with its reply.
  [[nodiscard]] FaultyReply arrived(const HttpRequest& request);
  /// Answers through `respond` in every case: unknown paths, wrong methods and refusals too.
  void handle(const HttpRequest& request, const Respond& respond) const;
  /// Null when `request`, which asks for a WebSocket, is for no path that is one.
  [[nodiscard]] std::unique_ptr<SocketHandler> open(const HttpRequest& request) const;

  /// The reply that says why a request is refused.
  [[nodiscard]] static HttpReply refused(const Refusal& refusal);

  /// So many have arrived, by name of the endpoint.
  [[nodiscard]] const std::map<std::string, int>& requests() const { return counts; }

 private:
  Faults& faults;
  std::map<std::string, std::map<std::string, Endpoint>> endpoints;  ///< by path, then method
  std::map<std::string, SocketEndpoint> sockets;
  std::map<std::string, int> counts;
};

}  // namespace quorvex::service
