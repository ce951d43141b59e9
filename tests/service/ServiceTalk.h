#pragma once

#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <csignal>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>  // missing from Boost 1.74's own headers

#include "support/LoopbackSocket.h"
#include "support/ServiceRun.h"

namespace quorvex::service::test {

using namespace quorvex::test;

const Headers kJson = {{"Content-Type", "application/json"}};

/// A host's session: its token, and the headers that its requests carry.
struct HostSession {
  explicit HostSession(std::uint16_t servicePort, const std::string& device = "a new device")
      : port(servicePort) {
    const Reply reply = post("/api/session-token", {{"device_id", device}});
    token = reply.body.at("token");
    userUuid = reply.body.at("user_uuid");
    headers.insert({{"Authorization", "Bearer " + token}, {"X-Brand-Id", "quorvex"}});
  }
  [[nodiscard]] Reply post(const std::string& path, const nlohmann::json& body) const {
    return request(port, "POST", path, headers, body.dump());
  }

  std::uint16_t port;
  std::string token, userUuid;
  Headers headers = kJson;
};

/// Each test has a service of its own, which ends as it is asked to whatever it is doing.
class ServiceTest : public ::testing::Test {
 protected:
  void TearDown() override {
    service.process->signal(SIGTERM);
    EXPECT_EQ(service.process->exitCode(), 0) << service.printed();
  }
  ServiceRun service{{"--log"}};
  const HostSession session{service.port};
};

/// A host's status socket.
struct StatusTalk {
  explicit StatusTalk(const HostSession& session, const std::string& clientId = "")
      : stream(connectedTo(io, session.port)) {
    stream.set_option(boost::beast::websocket::stream_base::decorator(
        [&](auto& request) { request.set("Authorization", "Bearer " + session.token); }));
    stream.handshake("127.0.0.1",
                     "/ws/status?client_id=" + clientId + "&user_uuid=" + session.userUuid);
  }
  void send(const std::string& payload, bool isText = true) {
    boost::system::error_code refusedEarly;
    stream.text(isText);
    stream.write(boost::asio::buffer(payload), refusedEarly);
  }
  /// The next message; none when the socket ends instead, see `closeCode`.
  std::optional<nlohmann::json> receive() {
    boost::beast::flat_buffer buffer;
    boost::system::error_code error;
    stream.read(buffer, error);
    if (error == boost::asio::error::would_block) throw std::runtime_error("nothing came");
    if (error) return std::nullopt;
    return nlohmann::json::parse(boost::beast::buffers_to_string(buffer.data()));
  }
  /// Waits for the end: the peer's close code, 0 when it just went away.
  int closeCode() { return receive() ? closeCode() : stream.reason().code; }
  std::string clientId() { return receive().value().at("client_id"); }

  boost::asio::io_context io;
  boost::beast::websocket::stream<boost::asio::ip::tcp::socket> stream;
};

}  // namespace quorvex::service::test
