#pragma once

#include <string_view>

namespace quorvex {

/// The desktop's structured log. Thread-safe.
class SystemLog {
 public:
  enum class Level { info, error };

  virtual ~SystemLog() = default;
  virtual void write(Level level, std::string_view category, std::string_view message) = 0;
};

}  // namespace quorvex
