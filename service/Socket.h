#pragma once

#include <memory>
#include <string>

namespace quorvex::service {

/// The service's end of one open WebSocket. Used on the service's thread.
class SocketLink {
 public:
  virtual ~SocketLink() = default;
  /// Sends one text frame. A peer that lets too many wait is cut off.
  virtual void send(std::string text) = 0;
  /// Starts the closing handshake; what was sent before goes out first.
  virtual void close(int code, std::string reason) = 0;
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
