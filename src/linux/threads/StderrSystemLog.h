#pragma once

#include "platform/SystemLog.h"

namespace quorvex {

/// Writes each record as one line "<level> category: message" to standard error, for programs that
/// run in a terminal or under a supervisor that keeps their output. Control characters of a
/// message become spaces, so that a record is always one line. Thread-safe: lines stay whole.
class StderrSystemLog : public SystemLog {
 public:
  void write(Level level, std::string_view category, std::string_view message) override;
};

}  // namespace quorvex
