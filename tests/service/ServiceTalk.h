#pragma once

#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "service/Service.h"

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

// Speaks to the service as a host does: over real sockets, one call after the other. Nothing waits
// longer than half a minute.

/// Sends these very bytes, then perhaps their end, and returns all that comes back until the end.
std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd = false);

using Headers = std::map<std::string, std::string>;

struct Reply {
  [[nodiscard]] std::string refusal() const {
    return std::to_string(status) + " " + body.value("error", "");
  }

  int status = 0;
  std::string head;
  nlohmann::json body = nlohmann::json::object();
};

Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers = {}, const std::string& body = "");

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
