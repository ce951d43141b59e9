#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/DispatchQueue.h"

namespace quorvex {

struct WebSocketRequest {
  std::string url;
  std::map<std::string, std::string> headers;
  /// The longest that opening the socket may take.
  Seconds timeout{60};
};

struct WebSocketMessage {
  enum class Kind { text, binary };
  Kind kind = Kind::text;
  std::string data;
};

/// One WebSocket connection. Created idle; `resume` opens it. Frames that arrive while no receive
/// is outstanding wait for the next one. Thread-safe. Destroying it drops the connection.
class WebSocketTask {
 public:
  /// Exactly one of the two is set.
  struct Received {
    std::optional<WebSocketMessage> message;
    std::string error;
  };

  virtual ~WebSocketTask() = default;

  virtual void resume() = 0;

  /// Asks for the next frame; at most one receive is outstanding. Calls `completion` once on the
  /// client's callback queue: with a frame, or with an error once the socket has ended (closed by
  /// either side, lost, never opened, or a frame over the size limit).
  virtual void receive(std::function<void(Received)> completion) = 0;

  /// Sends one text frame; `completion` gets none, or what went wrong.
  virtual void send(std::string text,
                    std::function<void(std::optional<std::string> error)> completion) = 0;

  /// Closes with `closeCode` and no reason; an outstanding receive ends with an error.
  virtual void cancel(int closeCode) = 0;

  /// The close code the other side sent, 1006 when the connection was lost without one, 0 when
  /// there is none yet or it never opened.
  [[nodiscard]] virtual int closeCode() const = 0;
};

class WebSocketClient {
 public:
  virtual ~WebSocketClient() = default;
  [[nodiscard]] virtual std::shared_ptr<WebSocketTask> webSocketTask(WebSocketRequest request) = 0;
};

}  // namespace quorvex
