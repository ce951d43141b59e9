#pragma once

#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <future>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>
#include <utility>  // missing from Boost 1.74's own headers

#include "service/Service.h"
#include "support/Eventually.h"
#include "support/HttpTalk.h"
#include "support/LoopbackSocket.h"

namespace quorvex::service::test {

using namespace quorvex::test;

const Headers kJson = {{"Content-Type", "application/json"}};

/// The service on a thread of its own, from construction to destruction.
struct RunningService {
  explicit RunningService(const Options& options = {}) {
    std::promise<std::uint16_t> listening;
    thread = std::thread([this, options, &listening] {
      Service service(loop, options);
      const auto error = service.listen();
      listening.set_value(error ? throw std::runtime_error(*error) : service.port());
      loop.run();
    });
    port = listening.get_future().get();
  }
  ~RunningService() {
    loop.stop();
    thread.join();
  }
  [[nodiscard]] std::string control(const std::string& what, const std::string& body) const {
    return request(port, "POST", "/control/" + what, kJson, body).refusal();
  }
  [[nodiscard]] nlohmann::json state() const { return request(port, "GET", "/control/state").body; }

  std::uint16_t port = 0;

 private:
  ServiceLoop loop;
  std::thread thread;
};

/// A host's session: its token, and the headers that its requests carry.
struct HostSession {
  explicit HostSession(std::uint16_t servicePort, const std::string& device = "a new device")
      : port(servicePort) {
    const Reply reply = post("/api/session-token", {{"device_id", device}});
    use(reply.body.at("token"), reply.body.at("user_uuid"));
  }
  /// The same host once it has these tokens of an account.
  [[nodiscard]] HostSession signedIn(const nlohmann::json& account) const {
    HostSession session = *this;
    session.use(account.at("access_token"), account.at("user_uuid"));
    return session;
  }
  void use(const std::string& newToken, const std::string& newUser) {
    token = newToken;
    userUuid = newUser;
    headers["Authorization"] = "Bearer " + token;
    headers["X-Brand-Id"] = "quorvex";
  }
  [[nodiscard]] Reply post(const std::string& path, const nlohmann::json& body) const {
    return request(port, "POST", path, headers, body.dump());
  }

  std::uint16_t port;
  std::string token, userUuid;
  Headers headers = kJson;
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
  int closeCode() {
    while (receive()) {
    }
    return stream.reason().code;
  }
  std::string clientId() { return receive().value().at("client_id"); }

  boost::asio::io_context io;
  boost::beast::websocket::stream<boost::asio::ip::tcp::socket> stream;
};

}  // namespace quorvex::service::test
