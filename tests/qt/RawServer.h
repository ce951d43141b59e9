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
    std::string request();
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
    /// Ends the connection at once, as a crash of the machine would.
    void reset() {
      const sockaddr nowhere{AF_UNSPEC, {}};
      ::connect(socket.native_handle(), &nowhere, sizeof nowhere);
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

inline std::string RawServer::Connection::request() {
  std::string text;
  boost::system::error_code gone;
  auto end = boost::asio::read_until(socket, boost::asio::dynamic_buffer(text), "\r\n\r\n", gone);
  if (const auto at = text.find("Content-Length: "); at < end) end += std::stoul(&text[at + 16]);
  if (end > text.size())
    boost::asio::read(socket, boost::asio::dynamic_buffer(text),
                      boost::asio::transfer_exactly(end - text.size()), gone);
  const std::lock_guard hold(server.mutex);
  return server.read.emplace_back(text);
}

/// Takes a request, says this and ends the connection.
inline RawServer::Serve says(const std::string& bytes) {
  return [bytes](RawServer::Connection& connection) {
    connection.request();
    connection.write(bytes);
  };
}
/// Takes a request, says this and then no more.
inline RawServer::Serve saysAndStops(const std::string& bytes) {
  return [speak = says(bytes)](RawServer::Connection& connection) {
    speak(connection);
    connection.waitForEnd();
  };
}
/// Takes a request, says this and then `more` until nobody listens.
inline RawServer::Serve saysWithoutEnd(const std::string& bytes, const std::string& more) {
  return [speak = says(bytes), more](RawServer::Connection& connection) {
    speak(connection);
    while (connection.write(more)) continue;
  };
}

/// A reply with a Content-Length.
inline std::string httpReply(const std::string& status, const std::string& headers,
                             const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace quorvex::test
