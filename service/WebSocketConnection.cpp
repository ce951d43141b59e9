#include "service/WebSocketConnection.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>

namespace quorvex::service {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

}  // namespace

WebSocketConnection::WebSocketConnection(asio::ip::tcp::socket socket,
                                         std::unique_ptr<SocketHandler> handles,
                                         std::shared_ptr<void> held)
    : stream(std::move(socket)), handler(std::move(handles)), slot(std::move(held)) {
  stream.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
  stream.read_message_max(kLargestMessage);
}

void WebSocketConnection::accept(Request request) {
  handshake = std::move(request);
  stream.async_accept(handshake, [self = shared_from_this()](error_code error) {
    if (error) return;
    self->handler->opened(self);
    self->read();
  });
}

void WebSocketConnection::read() {
  stream.async_read(buffer, [self = shared_from_this()](error_code error, auto) {
    if (error) return self->finish();
    if (!self->isClosing)
      self->handler->received(beast::buffers_to_string(self->buffer.data()),
                              self->stream.got_text());
    self->buffer.clear();
    self->read();
  });
}

void WebSocketConnection::send(std::string payload, bool isText) {
  if (isClosing) return;
  if (waiting.size() >= kMostWaiting) return abort();
  waiting.push_back({std::move(payload), isText});
  if (waiting.size() == 1) writeNext();
}

void WebSocketConnection::close(int code, std::string reason) {
  if (isClosing) return;
  isClosing = true;
  closeReason.code = static_cast<std::uint16_t>(code);
  closeReason.reason = reason;
  if (waiting.empty()) writeNext();
}

void WebSocketConnection::abort() {
  isClosing = true;
  beast::get_lowest_layer(stream).close();
}

void WebSocketConnection::writeNext() {
  if (waiting.empty()) {
    if (isClosing) stream.async_close(closeReason, [self = shared_from_this()](error_code) {});
    return;
  }
  stream.text(waiting.front().isText);
  stream.async_write(asio::buffer(waiting.front().payload),
                     [self = shared_from_this()](error_code error, auto) {
                       if (error) return;
                       self->waiting.pop_front();
                       self->writeNext();
                     });
}

void WebSocketConnection::finish() {
  isClosing = true;
  handler->closed();
  handler = nullptr;
}

}  // namespace quorvex::service
