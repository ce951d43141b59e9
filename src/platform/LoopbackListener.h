#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace quorvex {

/// One accepted connection. Dropping the last reference ends it, too. Main thread only.
class LoopbackConnection {
 public:
  virtual ~LoopbackConnection() = default;

  /// Calls `completion` once: with the bytes of one read, 1 to `maximumLength` of them, or with
  /// none when the connection ends first.
  virtual void receive(int maximumLength,
                       std::function<void(std::optional<std::string>)> completion) = 0;
  /// Calls `processed` once, when the bytes have been handed over or never will be.
  virtual void send(const std::string& bytes, std::function<void()> processed) = 0;
  virtual void cancel() = 0;
};

/// Accepts TCP connections from this machine only, on 127.0.0.1. Its handlers, like all of it, are
/// used on the main thread.
class LoopbackListener {
 public:
  struct Handlers {
    std::function<void()> ready;
    std::function<void(const std::string& error)> failed;
    std::function<void(std::shared_ptr<LoopbackConnection>)> newConnection;
  };

  virtual ~LoopbackListener() = default;

  /// Begins to listen on a free port. No handler is called before this has returned.
  virtual void start(Handlers handlers) = 0;
  /// None before it is ready.
  [[nodiscard]] virtual std::optional<std::uint16_t> port() const = 0;
  /// No handler is called from here on. Connections that were accepted go on.
  virtual void cancel() = 0;
};

class LoopbackListenerFactory {
 public:
  virtual ~LoopbackListenerFactory() = default;
  /// A listener, or the text of what is in the way.
  [[nodiscard]] virtual std::variant<std::shared_ptr<LoopbackListener>, std::string> create() = 0;
};

}  // namespace quorvex
