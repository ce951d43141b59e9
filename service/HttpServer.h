#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "service/Router.h"
#include "service/ServiceLoop.h"

namespace quorvex::service {

/// Listens on one port of 127.0.0.1 and serves HTTP and WebSocket connections from the router's
/// endpoints. Used on the service's thread; outlived by the loop and the router.
class HttpServer {
 public:
  static constexpr int kMostConnections = 256;  ///< one more is closed at once

  /// `log`: writes one line a request to standard error.
  HttpServer(ServiceLoop& loop, Router& router, bool log);
  ~HttpServer();

  /// `port` 0 takes any free one. The text says why it cannot listen.
  [[nodiscard]] std::optional<std::string> listen(std::uint16_t port);
  [[nodiscard]] std::uint16_t port() const;

 private:
  class Acceptor;
  std::shared_ptr<Acceptor> acceptor;
};

}  // namespace quorvex::service
