#pragma once

#include <memory>

#include "platform/WebSocket.h"

namespace quorvex {

class NetworkThread;

/// WebSocketClient on QWebSocket. All callbacks come on the network thread. Thread-safe.
///
/// - wss is verified; ws is taken toward loopback only. Cookies that HTTP replies have set go along
///   with the opening request; redirects are not followed.
/// - A frame or message of more than 8 MiB ends the connection with code 1009. So does, with code
///   1008, a peer that has sent more than 256 frames or 16 MiB that nobody received; what arrived
///   before is still received first.
/// - closeCode() is the peer's code (1000 for a close without one), the code of the fault for which
///   this side closed (1002, 1007, 1008, 1009), the code given to cancel(), 1006 for a connection
///   lost, and 0 when none was ever open.
/// - What is sent before the socket is open waits for it. `send` completes when the frame is handed
///   to the connection, and fails when more than 16 MiB wait for the peer.
/// - cancel() sends the close frame at once and does not wait for the peer's. Every receive and
///   send that is outstanding then, or when the task is destroyed, ends with the error "cancelled".
class QtWebSocketClient : public WebSocketClient {
 public:
  explicit QtWebSocketClient(std::shared_ptr<NetworkThread> network);
  [[nodiscard]] std::shared_ptr<WebSocketTask> webSocketTask(WebSocketRequest request) override;

 private:
  const std::shared_ptr<NetworkThread> network;
};

}  // namespace quorvex
