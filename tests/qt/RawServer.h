#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>  // missing from Boost 1.74's own headers
#include <vector>

namespace quorvex::test {

/// A TCP server on loopback that says exactly what a test tells it to. Each connection is served on
/// a thread of its own and closed when `serve` returns, or with the server.
class RawServer {
 public:
  struct Connection {
    Connection(RawServer& owner, boost::asio::ip::tcp::socket&& accepted)
        : server(owner), socket(std::move(accepted)) {}

    /// One request, its body too when it has a Content-Length.
    std::string request() {
      std::string text;
      const auto bytes = boost::asio::dynamic_buffer(text);
      boost::system::error_code gone;
      auto end = boost::asio::read_until(socket, bytes, "\r\n\r\n", gone);
      const auto at = text.find("Content-Length: ");
      if (at < end) end += std::stoul(&text[at + 16]);
      if (end > text.size())
        boost::asio::read(socket, bytes, boost::asio::transfer_exactly(end - text.size()), gone);
      const std::lock_guard hold(server.mutex);
      return server.read.emplace_back(text);
    }
    /// False once the other side is gone.
    bool write(const std::string& bytes) {
      boost::system::error_code gone;
      boost::asio::write(socket, boost::asio::buffer(bytes), gone);
      return !gone;
    }
    /// Returns when the other side has gone.
    void waitForEnd() {
      boost::system::error_code gone;
      for (char bytes[4096]; !gone;) (void)socket.read_some(boost::asio::buffer(bytes), gone);
    }
    void end() { ::shutdown(socket.native_handle(), SHUT_RDWR); }

    RawServer& server;
    boost::asio::ip::tcp::socket socket;
  };
  using Serve = std::function<void(Connection&)>;

  explicit RawServer(Serve serve)
      : thread([this, serve = std::move(serve)] {
          std::list<Connection> connections;
          std::vector<std::jthread> servants;
          boost::system::error_code closed;
          for (auto socket = acceptor.accept(closed); !closed; socket = acceptor.accept(closed)) {
            auto& connection = connections.emplace_back(*this, std::move(socket));
            servants.emplace_back([&serve, &connection] { serve(connection), connection.end(); });
          }
          for (auto& connection : connections) connection.end();
        }) {}
  ~RawServer() { ::shutdown(acceptor.native_handle(), SHUT_RDWR); }

  [[nodiscard]] std::string url(const std::string& path, const std::string& scheme = "http") const {
    return scheme + "://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + path;
  }
  /// What the connections have read so far.
  [[nodiscard]] std::vector<std::string> requests() const {
    const std::lock_guard hold(mutex);
    return read;
  }

 private:
  boost::asio::io_context io;
  boost::asio::ip::tcp::acceptor acceptor{io, {boost::asio::ip::address_v4::loopback(), 0}};
  mutable std::mutex mutex;
  std::vector<std::string> read;  // protected by the mutex
  std::jthread thread;
};

/// Takes a request, says this, then `more` until nobody listens, and ends the connection.
inline RawServer::Serve says(const std::string& bytes, const std::string& more = {}) {
  return [bytes, more](RawServer::Connection& connection) {
    connection.request();
    connection.write(bytes);
    while (!more.empty() && connection.write(more)) continue;
  };
}
/// Takes a request, says this and then no more.
inline RawServer::Serve saysAndStops(const std::string& bytes) {
  return [speak = says(bytes)](RawServer::Connection& connection) {
    speak(connection);
    connection.waitForEnd();
  };
}

/// A reply with a Content-Length.
inline std::string httpReply(const std::string& status, const std::string& headers,
                             const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace quorvex::test
