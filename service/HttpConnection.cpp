#include "service/HttpConnection.h"

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <cctype>
#include <iostream>

#include "service/Encoding.h"
#include "service/WebSocketConnection.h"

namespace quorvex::service {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

constexpr std::chrono::seconds kFarewell{2};
constexpr std::size_t kLongestLoggedPath = 100;

HttpRequest requestOf(http::request<http::string_body>& native) {
  HttpRequest request;
  request.method = std::string(native.method_string());
  const std::string target(native.target());
  const auto mark = target.find('?');
  request.path = percentDecoded(target.substr(0, mark));
  if (mark != std::string::npos) request.query = formFields(target.substr(mark + 1));
  for (const auto& field : native) {
    std::string name(field.name_string());
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    request.headers.emplace(std::move(name), std::string(field.value()));
  }
  request.body = std::move(native.body());
  return request;
}

Refusal refusalOf(error_code error) {
  if (error == http::error::body_limit) return {413, "the body is too large; 8 MiB is the most"};
  if (error == http::error::header_limit)
    return {431, "the header is too large; 16 KiB is the most"};
  return {400, "this is no HTTP/1.1 request that can be read"};
}

}  // namespace

HttpConnection::HttpConnection(asio::ip::tcp::socket socket, Router& routes, bool logs,
                               std::shared_ptr<void> held)
    : stream(std::move(socket)),
      router(routes),
      log(logs),
      slot(std::move(held)),
      pause(stream.get_executor()) {}

void HttpConnection::read() {
  parser.emplace();
  parser->header_limit(kLargestHeader);
  parser->body_limit(kLargestBody);
  stream.expires_after(kPatience);
  http::async_read(stream, buffer, *parser, [self = shared_from_this()](error_code error, auto) {
    self->requestRead(error);
  });
}

void HttpConnection::requestRead(error_code error) {
  received = std::chrono::steady_clock::now();
  if (!error) return serve();
  request = {};
  const bool isMalformed = error.category() == make_error_code(http::error::bad_method).category();
  if (isMalformed && error != http::error::end_of_stream && error != http::error::partial_message)
    write(Router::refused(refusalOf(error)), false);
  // Otherwise the peer has gone or was too slow: dropping the last reference closes the socket.
}

void HttpConnection::serve() {
  auto& native = parser->get();
  const bool asksForSocket = beast::websocket::is_upgrade(native);
  const bool keepAlive = native.keep_alive();
  request = requestOf(native);
  const FaultyReply fault = router.arrived(request);
  if (fault.isWithheld) return withhold();
  const auto self = shared_from_this();
  const Respond respond = [self, keepAlive, delay = fault.delay](HttpReply reply) {
    self->after(delay,
                [self, keepAlive, reply = std::move(reply)] { self->write(reply, keepAlive); });
  };
  if (fault.reply) return respond(*fault.reply);
  if (asksForSocket) {
    if (auto handler = router.open(request))
      return after(fault.delay, [self, handler = std::move(handler)]() mutable {
        self->upgrade(std::move(handler));
      });
  }
  router.handle(request, respond);
}

void HttpConnection::after(Seconds delay, Task task) {
  if (delay <= Seconds(0)) return task();
  pause.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(delay));
  pause.async_wait([task = std::move(task)](error_code error) mutable {
    if (!error) task();
  });
}

/// Only waits until the peer goes.
void HttpConnection::withhold() {
  stream.expires_never();
  discard();
}

void HttpConnection::upgrade(std::unique_ptr<SocketHandler> handler) {
  logReply(101);
  stream.expires_never();
  std::make_shared<WebSocketConnection>(stream.release_socket(), std::move(handler),
                                        std::move(slot))
      ->accept(parser->release());
}

void HttpConnection::write(const HttpReply& reply, bool keepAlive) {
  written = Reply(static_cast<http::status>(reply.status), 11);
  if (reply.body || reply.text) written.set(http::field::content_type, "application/json");
  for (const auto& [name, value] : reply.headers) written.set(name, value);
  written.keep_alive(keepAlive);
  // Texts that came from outside may hold broken UTF-8.
  if (reply.body)
    written.body() = reply.body->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  if (reply.text) written.body() = *reply.text;
  if (reply.status != 204) written.content_length(written.body().size());
  if (request.method == "HEAD") written.body().clear();
  logReply(reply.status);
  stream.expires_after(kPatience);
  http::async_write(stream, written,
                    [self = shared_from_this(), keepAlive](error_code error, auto) {
                      if (error) return;
                      if (keepAlive)
                        self->read();
                      else
                        self->closeGently();
                    });
}

/// Closing while the peer still sends would take the reply away from it.
void HttpConnection::closeGently() {
  error_code ignored;
  stream.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  stream.expires_after(kFarewell);
  discard();
}

void HttpConnection::discard() {
  buffer.clear();
  stream.async_read_some(buffer.prepare(64 << 10),
                         [self = shared_from_this()](error_code error, auto) {
                           if (!error) self->discard();
                         });
}

void HttpConnection::logReply(int status) const {
  if (!log) return;
  std::string path = request.path.substr(0, kLongestLoggedPath);
  for (char& c : path)
    if (c < ' ' || c > '~') c = '?';
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - received);
  std::cerr << (request.method.empty() ? "-" : request.method) << " " << (path.empty() ? "-" : path)
            << " " << status << " " << took.count() << " ms\n";
}

}  // namespace quorvex::service
