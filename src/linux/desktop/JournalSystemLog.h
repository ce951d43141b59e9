#pragma once

#include "platform/SystemLog.h"

namespace quorvex {

/// The systemd journal: `journalctl -t quorvex-camera`. A record is kept as it is, lines and all,
/// with the fields SUBSYSTEM and CATEGORY beside its priority. Where no journal runs it becomes one
/// line "<level> category: message" on standard error, its control characters spaces. Thread-safe;
/// never waits.
class JournalSystemLog : public SystemLog {
 public:
  void write(Level level, std::string_view category, std::string_view message) override;
};

}  // namespace quorvex
