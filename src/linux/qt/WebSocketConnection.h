#pragma once

#include <QObject>
#include <QTimer>
#include <QWebSocket>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/WebSocket.h"

class QNetworkCookieJar;

namespace quorvex {

/// The connection behind one WebSocketTask. Everything but closeCode() is used, and the object
/// destroyed, on the network thread.
class WebSocketConnection {
 public:
  using Received = WebSocketTask::Received;
  using Receiver = std::function<void(Received)>;
  using Sent = std::function<void(std::optional<std::string> error)>;

  explicit WebSocketConnection(WebSocketRequest webSocketRequest);

  void open(QNetworkCookieJar& cookies);
  void receive(Receiver completion);
  void send(std::string text, Sent completion);
  void cancel(int code);

  /// Ends everything without a close frame, unless one was sent before.
  void drop();

  [[nodiscard]] int closeCode() const { return endCode; }

 private:
  enum class State { idle, opening, open, ended };

  struct Outgoing {
    std::string text;
    Sent sent;
  };

  void watch();
  void becomeOpen();
  void take(WebSocketMessage message);
  void write(const Outgoing& outgoing);
  void closeBecause(int code, const std::string& why);
  void failOpening(const std::string& why);
  void peerEnded();
  void end(int code, const std::string& why);
  void deliver();

  const WebSocketRequest request;
  std::string origin;
  State state = State::idle;
  std::string error;  ///< why it ended
  std::atomic<int> endCode = 0;
  std::unique_ptr<QWebSocket> socket;  ///< none before open()
  QTimer* patience = nullptr;   ///< for the opening, then for the closing; the socket's child
  bool closeFrameSeen = false;  ///< the peer's or our own
  std::deque<WebSocketMessage> arrived;
  std::size_t arrivedBytes = 0;
  Receiver receiver;
  std::deque<Outgoing> unsent;  ///< waits for the opening
};

}  // namespace quorvex
