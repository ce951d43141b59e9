#pragma once

#include <future>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "service/Service.h"
#include "support/HttpTalk.h"

namespace quorvex::service::test {

/// The service on a thread of its own, from construction to destruction.
class RunningService {
 public:
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

  std::uint16_t port = 0;

 private:
  ServiceLoop loop;
  std::thread thread;
};

// Speaks to the service as a host does.

using quorvex::test::Headers;
using quorvex::test::Reply;
using quorvex::test::request;
using quorvex::test::sendRaw;

/// A host's session: its token, and the headers that its requests carry.
struct HostSession {
  explicit HostSession(std::uint16_t port, const std::string& device = "a new device");

  [[nodiscard]] Reply post(const std::string& path, const nlohmann::json& body) const {
    return request(port, "POST", path, headers, body.dump());
  }

  std::uint16_t port;
  std::string token, userUuid;
  Headers headers{{"Content-Type", "application/json"}};
};

class StatusTalk {
 public:
  StatusTalk(const HostSession& session, const std::string& clientId = "");
  ~StatusTalk();

  void send(const std::string& payload, bool isText = true);
  /// The next message; none when the socket ends instead, see `closeCode`.
  std::optional<nlohmann::json> receive();
  /// Waits for the end: the peer's close code, 0 when it just went away.
  int closeCode();
  /// Receives the identity.
  std::string clientId() { return receive().value().at("client_id"); }

 private:
  struct Socket;
  std::unique_ptr<Socket> socket;
};

}  // namespace quorvex::service::test
