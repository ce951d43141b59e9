#include "service/ServiceTalk.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <utility>  // missing from Boost 1.74's own headers

namespace quorvex::service::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
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

std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd) {
  asio::io_context io;
  tcp::socket socket = connected(io, port);
  error_code refusedEarly;  // a reply may come before the bytes have all been sent
  asio::write(socket, asio::buffer(bytes), refusedEarly);
  if (thenEnd) socket.shutdown(tcp::socket::shutdown_send);
  std::string received;
  error_code end;
  asio::read(socket, asio::dynamic_buffer(received), end);
  return received;
}

Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers, const std::string& body) {
  std::string bytes = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
  for (const auto& [name, value] : headers) bytes.append(name).append(": ").append(value + "\r\n");
  bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  const std::string received = sendRaw(port, bytes);
  const std::size_t headEnd = received.find("\r\n\r\n");
  if (headEnd == std::string::npos) throw std::runtime_error("no reply: " + received);
  Reply reply{.status = std::stoi(received.substr(9, 3)), .head = received.substr(0, headEnd)};
  if (received.size() > headEnd + 4)
    reply.body = nlohmann::json::parse(received.substr(headEnd + 4));
  return reply;
}

HostSession::HostSession(std::uint16_t servicePort, const std::string& device) : port(servicePort) {
  const Reply reply = post("/api/session-token", {{"device_id", device}});
  token = reply.body.at("token");
  userUuid = reply.body.at("user_uuid");
  headers["Authorization"] = "Bearer " + token;
  headers["X-Brand-Id"] = "quorvex";
}

struct StatusTalk::Socket {
  explicit Socket(std::uint16_t port) : stream(connected(io, port)) {}

  asio::io_context io;
  websocket::stream<tcp::socket> stream;
};

StatusTalk::StatusTalk(const HostSession& session, const std::string& clientId)
    : socket(std::make_unique<Socket>(session.port)) {
  socket->stream.set_option(
      websocket::stream_base::decorator([&](websocket::request_type& request) {
        request.set(beast::http::field::authorization, "Bearer " + session.token);
      }));
  socket->stream.handshake("127.0.0.1",
                           "/ws/status?client_id=" + clientId + "&user_uuid=" + session.userUuid);
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

}  // namespace quorvex::service::test
