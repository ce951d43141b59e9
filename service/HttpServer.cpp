#include "service/HttpServer.h"

#include <boost/asio/ip/tcp.hpp>
#include <utility>  // missing from Boost 1.74's own headers

#include "service/HttpConnection.h"

namespace quorvex::service {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr Seconds kPauseAfterError{0.1};

}  // namespace

class HttpServer::Acceptor : public std::enable_shared_from_this<Acceptor> {
 public:
  Acceptor(ServiceLoop& serviceLoop, Router& routes, bool logs)
      : loop(serviceLoop),
        router(routes),
        log(logs),
        connections(std::make_shared<int>(0)),
        native(loop.context()) {}

  std::optional<std::string> listen(std::uint16_t port) {
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    error_code error;
    native.open(endpoint.protocol(), error);
    if (!error) native.set_option(asio::socket_base::reuse_address(true), error);
    if (!error) native.bind(endpoint, error);
    if (!error) native.listen(asio::socket_base::max_listen_connections, error);
    if (error) return error.message();
    accept();
    return std::nullopt;
  }

  [[nodiscard]] std::uint16_t port() const { return native.local_endpoint().port(); }

  void close() {
    error_code ignored;
    native.close(ignored);
    pause = nullptr;
  }

 private:
  void accept() {
    native.async_accept([weak = weak_from_this()](error_code error, tcp::socket socket) {
      const auto self = weak.lock();
      if (!self || !self->native.is_open()) return;
      if (!error) {
        self->serve(std::move(socket));
        self->accept();
      } else {
        // Out of descriptors, most likely; trying again at once would spin.
        self->pause = self->loop.after(kPauseAfterError, [raw = self.get()] { raw->accept(); });
      }
    });
  }

  void serve(tcp::socket socket) {
    if (*connections >= kMostConnections) return;
    ++*connections;
    std::shared_ptr<void> slot(nullptr, [count = connections](void*) { --*count; });
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::make_shared<HttpConnection>(std::move(socket), router, log, std::move(slot))->read();
  }

  ServiceLoop& loop;
  Router& router;
  bool log;
  std::shared_ptr<int> connections;
  tcp::acceptor native;
  std::unique_ptr<Timer> pause;
};

HttpServer::HttpServer(ServiceLoop& loop, Router& router, bool log)
    : acceptor(std::make_shared<Acceptor>(loop, router, log)) {}

HttpServer::~HttpServer() {
  acceptor->close();
}

std::optional<std::string> HttpServer::listen(std::uint16_t port) {
  return acceptor->listen(port);
}

std::uint16_t HttpServer::port() const {
  return acceptor->port();
}

}  // namespace quorvex::service
