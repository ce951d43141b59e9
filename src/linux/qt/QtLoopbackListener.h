#pragma once

#include <chrono>
#include <memory>

#include "platform/LoopbackListener.h"

namespace quorvex {

/// Listeners on Qt's sockets. Used on one thread, with an event loop.
class QtLoopbackListeners : public LoopbackListenerFactory {
 public:
  /// A connection on which nothing comes or goes for `patience` is over.
  explicit QtLoopbackListeners(std::chrono::milliseconds patience = std::chrono::seconds(10))
      : longestSilence(patience) {}

  [[nodiscard]] std::variant<std::shared_ptr<LoopbackListener>, std::string> create() override;

 private:
  const std::chrono::milliseconds longestSilence;
};

}  // namespace quorvex
