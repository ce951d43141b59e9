#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <memory>
#include <optional>

#include "service/Router.h"

namespace quorvex::service {

/// One accepted connection: reads requests one after the other, lets the router answer each, and
/// becomes a WebSocket where one is asked for. Lives as long as something is under way on it.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  static constexpr std::uint64_t kLargestBody = 8 << 20;
  static constexpr std::uint32_t kLargestHeader = 16 << 10;
  static constexpr std::chrono::seconds kPatience{30};  ///< for one request or one reply

  /// `slot` is held while the connection lasts.
  HttpConnection(boost::asio::ip::tcp::socket socket, Router& router, bool log,
                 std::shared_ptr<void> slot);

  void read();

 private:
  using Request = boost::beast::http::request<boost::beast::http::string_body>;
  using Reply = boost::beast::http::response<boost::beast::http::string_body>;

  void requestRead(boost::system::error_code error);
  void serve();
  void after(Seconds delay, Task task);
  void upgrade(std::unique_ptr<SocketHandler> handler);
  void write(const HttpReply& reply, bool keepAlive);
  void closeGently();
  void withhold();
  void discard();
  void logReply(int status) const;

  boost::beast::tcp_stream stream;
  Router& router;
  bool log;
  std::shared_ptr<void> slot;
  boost::beast::flat_buffer buffer;
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser;
  HttpRequest request;
  std::chrono::steady_clock::time_point received;
  Reply written;
  boost::asio::steady_timer pause;
};

}  // namespace quorvex::service
