#pragma once

#include "platform/Clock.h"

namespace quorvex {

/// The kernel's boot-time clock: seconds since the machine started, sleep included. Thread-safe.
class SteadyClock : public Clock {
 public:
  [[nodiscard]] double now() const override;
};

}  // namespace quorvex
