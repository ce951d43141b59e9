#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace quorvex::service::test {

using Headers = std::map<std::string, std::string>;

struct Reply {
  int status = 0;
  nlohmann::json body;  ///< null when there is none
  Headers headers;

  [[nodiscard]] std::string error() const { return body.value("error", ""); }
};

/// Speaks to the service as a host does: over real sockets, one call after the other. Each call
/// throws when nothing comes within half a minute.
Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers = {}, const std::string& body = "");

/// Sends these very bytes, and nothing more, and returns all that comes back until the end.
std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd);

/// A host's session: its token, and the headers that its requests carry.
struct HostSession {
  explicit HostSession(std::uint16_t port, const std::string& device = "a new device");

  [[nodiscard]] Reply post(const std::string& path, const nlohmann::json& body) const;

  std::uint16_t port;
  std::string token;
  std::string userUuid;
  Headers headers;
};

/// A status socket.
class StatusTalk {
 public:
  StatusTalk(const HostSession& session, const std::string& clientId = "");
  StatusTalk(std::uint16_t port, const std::string& query, const std::string& token);
  ~StatusTalk();

  void send(const std::string& payload, bool isText = true);
  /// The next message; none when the socket ends instead, see `closeCode`.
  std::optional<nlohmann::json> receive();
  /// Waits for the end: the peer's close code, 0 when it just went away.
  int closeCode();
  void close();

  /// Receives the identity.
  std::string clientId();

 private:
  struct Socket;
  std::unique_ptr<Socket> socket;
};

}  // namespace quorvex::service::test
