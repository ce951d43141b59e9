#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>  // missing from Boost 1.74's own headers
#include <vector>

namespace quorvex::test {

/// A TCP server on loopback that says exactly what a test tells it to, to one client after the
/// other. A connection ends when `serve` returns.
class RawServer {
  boost::asio::io_context io;

 public:
  /// Runs on the server's thread, and may call what stands under it.
  using Serve = std::function<void(RawServer&)>;

  explicit RawServer(Serve serve)
      : thread([this, serve = std::move(serve)] {
          boost::system::error_code closed;
          for (; client = acceptor.accept(closed), !closed; waitForEnd()) {
            serve(*this);
            ::shutdown(client.native_handle(), SHUT_WR);
          }
        }) {}
  ~RawServer() {
    ended = true;
    ::shutdown(acceptor.native_handle(), SHUT_RDWR);
  }

  [[nodiscard]] std::string url(const std::string& path, const std::string& scheme = "http") const {
    return scheme + "://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + path;
  }
  /// What the clients have asked so far.
  [[nodiscard]] std::vector<std::string> requests() const {
    const std::lock_guard hold(mutex);
    return read;
  }

  /// One request, its body too when it has a Content-Length.
  std::string request() {
    std::string text;
    const auto bytes = boost::asio::dynamic_buffer(text);
    boost::system::error_code gone;
    auto end = boost::asio::read_until(client, bytes, "\r\n\r\n", gone);
    const auto at = text.find("Content-Length: ");
    if (at < end) end += std::stoul(&text[at + 16]);
    if (end > text.size())
      boost::asio::read(client, bytes, boost::asio::transfer_exactly(end - text.size()), gone);
    const std::lock_guard hold(mutex);
    return read.emplace_back(text);
  }
  /// False once the other side is gone, or the server is to end.
  bool write(const std::string& bytes) {
    boost::system::error_code gone;
    boost::asio::write(client, boost::asio::buffer(bytes), gone);
    return !gone && !ended;
  }
  /// Returns when the other side has gone.
  void waitForEnd() {
    boost::system::error_code gone;
    for (char bytes[4096]; !gone;) (void)client.read_some(boost::asio::buffer(bytes), gone);
  }

  boost::asio::ip::tcp::socket client{io};  ///< for `serve`

 private:
  boost::asio::ip::tcp::acceptor acceptor{io, {boost::asio::ip::address_v4::loopback(), 0}};
  std::atomic<bool> ended = false;
  mutable std::mutex mutex;
  std::vector<std::string> read;  // protected by the mutex
  std::jthread thread;
};

/// Takes a request, says this, then `more` until nobody listens, and ends the connection.
inline RawServer::Serve says(const std::string& bytes, const std::string& more = {}) {
  return [bytes, more](RawServer& server) {
    server.request();
    server.write(bytes);
    while (!more.empty() && server.write(more)) continue;
  };
}
/// Takes a request, says this and then no more.
inline RawServer::Serve saysAndStops(const std::string& bytes) {
  return [speak = says(bytes)](RawServer& server) {
    speak(server);
    server.waitForEnd();
  };
}

/// A reply with a Content-Length.
inline std::string httpReply(const std::string& status, const std::string& headers,
                             const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace quorvex::test
