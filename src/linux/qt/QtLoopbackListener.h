#pragma once

#include <memory>

#include "platform/LoopbackListener.h"

namespace quorvex {

/// Listeners on Qt's sockets. Used on one thread, with an event loop. At most 16 connections wait
/// for their first bytes at a time, further ones are closed; one that says nothing for 10 s is
/// over.
class QtLoopbackListeners : public LoopbackListenerFactory {
 public:
  [[nodiscard]] std::variant<std::shared_ptr<LoopbackListener>, std::string> create() override;
};

}  // namespace quorvex
