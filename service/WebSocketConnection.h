#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <deque>
#include <memory>
#include <string>

#include "service/Socket.h"

namespace quorvex::service {

/// One WebSocket from its handshake to its end. Pings a silent peer and cuts off one that is gone,
/// that sends more than a message may hold (close code 1009), or that does not read.
class WebSocketConnection : public SocketLink,
                            public std::enable_shared_from_this<WebSocketConnection> {
 public:
  static constexpr std::size_t kLargestMessage = 8 << 20;
  static constexpr std::size_t kMostWaiting = 256;  ///< messages not yet read by the peer

  using Request = boost::beast::http::request<boost::beast::http::string_body>;

  WebSocketConnection(boost::asio::ip::tcp::socket socket, std::unique_ptr<SocketHandler> handler,
                      std::shared_ptr<void> slot);

  /// Answers the handshake of `request` and begins.
  void accept(Request request);

  void send(std::string payload, bool isText) override;
  void close(int code, std::string reason) override;
  void abort() override;

 private:
  struct Message {
    std::string payload;
    bool isText;
  };

  void read();
  void writeNext();
  void finish();

  boost::beast::websocket::stream<boost::beast::tcp_stream> stream;
  std::unique_ptr<SocketHandler> handler;  ///< none once it has been told of the end
  std::shared_ptr<void> slot;
  Request handshake;
  boost::beast::flat_buffer buffer;
  std::deque<Message> waiting;  ///< the first is being written
  bool isClosing = false;
  boost::beast::websocket::close_reason closeReason;
};

}  // namespace quorvex::service
