#include "service/ServiceTalk.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <utility>  // missing from Boost 1.74's own headers

#include "support/LoopbackSocket.h"

namespace quorvex::service::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

}  // namespace

HostSession::HostSession(std::uint16_t servicePort, const std::string& device) : port(servicePort) {
  const Reply reply = post("/api/session-token", {{"device_id", device}});
  token = reply.body.at("token");
  userUuid = reply.body.at("user_uuid");
  headers["Authorization"] = "Bearer " + token;
  headers["X-Brand-Id"] = "quorvex";
}

struct StatusTalk::Socket {
  explicit Socket(std::uint16_t port) : stream(quorvex::test::connectedTo(io, port)) {}

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
