#pragma once

namespace quorvex {

/// The time that all of the host's waiting and measuring is done in. Thread-safe.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Seconds since a fixed but unknown moment. Runs on while the machine sleeps and is never set
  /// back or forth, so that only differences mean anything and they are always true.
  [[nodiscard]] virtual double now() const = 0;
};

}  // namespace quorvex
