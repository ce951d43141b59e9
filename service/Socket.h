#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace quorvex::service {

/// The service's end of one open WebSocket. Used on the service's thread.
class SocketLink {
 public:
  virtual ~SocketLink() = default;
  /// Sends one text or binary frame. A peer that lets too many wait is cut off.
  virtual void send(std::string payload, bool isText) = 0;
  /// Starts the closing handshake; what was sent before goes out first.
  virtual void close(int code, std::string reason) = 0;
  /// Drops the connection without one.
  virtual void abort() = 0;

  /// Sends a message as text. It may quote text from outside, cut within a character.
  void say(const nlohmann::json& message) {
    send(message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), true);
  }
};

/// What a WebSocket reports, on the service's thread: `opened` first, then what it receives, and
/// `closed` once, last.
class SocketHandler {
 public:
  virtual ~SocketHandler() = default;
  virtual void opened(std::shared_ptr<SocketLink> link) = 0;
  virtual void received(const std::string& payload, bool isText) = 0;
  virtual void closed() = 0;
};

}  // namespace quorvex::service
