#include "service/ServiceTalk.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <utility>  // missing from Boost 1.74's own headers

namespace quorvex::service::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

tcp::socket connected(asio::io_context& io, std::uint16_t port) {
  tcp::socket socket(io);
  socket.connect({asio::ip::address_v4::loopback(), port});
  const timeval patience{30, 0};
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  return socket;
}

}  // namespace

Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers, const std::string& body) {
  asio::io_context io;
  tcp::socket socket = connected(io, port);
  http::request<http::string_body> native;
  native.method_string(method);
  native.target(path);
  native.version(11);
  native.set(http::field::host, "127.0.0.1");
  for (const auto& [name, value] : headers) native.set(name, value);
  native.body() = body;
  native.prepare_payload();
  error_code refusedEarly;  // a reply may come before the body has all been sent
  http::write(socket, native, refusedEarly);

  beast::flat_buffer buffer;
  http::response_parser<http::string_body> parser;
  parser.skip(method == "HEAD");
  http::read(socket, buffer, parser);
  Reply reply{.status = static_cast<int>(parser.get().result_int()), .body = {}, .headers = {}};
  for (const auto& field : parser.get())
    reply.headers[std::string(field.name_string())] = std::string(field.value());
  if (!parser.get().body().empty()) reply.body = nlohmann::json::parse(parser.get().body());
  return reply;
}

std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd) {
  asio::io_context io;
  tcp::socket socket = connected(io, port);
  asio::write(socket, asio::buffer(bytes));
  if (thenEnd) socket.shutdown(tcp::socket::shutdown_send);
  std::string received;
  error_code end;
  asio::read(socket, asio::dynamic_buffer(received), end);
  return received;
}

HostSession::HostSession(std::uint16_t servicePort, const std::string& device) : port(servicePort) {
  const Reply reply =
      request(port, "POST", "/api/session-token", {{"Content-Type", "application/json"}},
              nlohmann::json{{"device_id", device}}.dump());
  token = reply.body.at("token");
  userUuid = reply.body.at("user_uuid");
  headers = {{"Content-Type", "application/json"},
             {"Authorization", "Bearer " + token},
             {"X-Brand-Id", "quorvex"}};
}

Reply HostSession::post(const std::string& path, const nlohmann::json& body) const {
  return request(port, "POST", path, headers, body.dump());
}

struct StatusTalk::Socket {
  explicit Socket(std::uint16_t port) : stream(connected(io, port)) {}

  asio::io_context io;
  websocket::stream<tcp::socket> stream;
};

StatusTalk::StatusTalk(const HostSession& session, const std::string& clientId)
    : StatusTalk(
          session.port,
          (clientId.empty() ? "" : "client_id=" + clientId + "&") + "user_uuid=" + session.userUuid,
          session.token) {}

StatusTalk::StatusTalk(std::uint16_t port, const std::string& query, const std::string& token)
    : socket(std::make_unique<Socket>(port)) {
  socket->stream.set_option(
      websocket::stream_base::decorator([&](websocket::request_type& request) {
        request.set(http::field::authorization, "Bearer " + token);
      }));
  socket->stream.handshake("127.0.0.1", "/ws/status?" + query);
}

StatusTalk::~StatusTalk() = default;

void StatusTalk::send(const std::string& payload, bool isText) {
  socket->stream.text(isText);
  error_code refusedEarly;
  socket->stream.write(asio::buffer(payload), refusedEarly);
}

std::optional<nlohmann::json> StatusTalk::receive() {
  beast::flat_buffer buffer;
  error_code error;
  socket->stream.read(buffer, error);
  if (error == asio::error::would_block) throw std::runtime_error("nothing came");
  if (error) return std::nullopt;
  return nlohmann::json::parse(beast::buffers_to_string(buffer.data()));
}

int StatusTalk::closeCode() {
  while (receive()) {
  }
  return socket->stream.reason().code;
}

void StatusTalk::close() {
  socket->stream.close(websocket::close_code::going_away);
}

std::string StatusTalk::clientId() {
  return receive().value().at("client_id");
}

}  // namespace quorvex::service::test
