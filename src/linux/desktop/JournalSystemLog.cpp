#include "linux/desktop/JournalSystemLog.h"

// The fields that tell the place in the code would always tell of this file.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace quorvex {
namespace {

constexpr const char* kSocket = "/run/systemd/journal/socket";

/// The library calls it a success when there is no journal.
bool send(SystemLog::Level level, std::string_view category, std::string_view message) {
  if (::access(kSocket, F_OK) != 0) return false;
  std::array<std::string, 5> fields{
      "PRIORITY=" + std::to_string(level == SystemLog::Level::error ? LOG_ERR : LOG_INFO),
      "SYSLOG_IDENTIFIER=quorvex-camera", "SUBSYSTEM=com.tessaly.quorvexcamera",
      "CATEGORY=" + std::string(category), "MESSAGE=" + std::string(message)};
  std::array<iovec, fields.size()> parts{};
  std::ranges::transform(fields, parts.begin(), [](std::string& field) {
    return iovec{field.data(), field.size()};
  });
  return ::sd_journal_sendv(parts.data(), static_cast<int>(parts.size())) == 0;
}

void writeToStandardError(SystemLog::Level level, std::string_view category,
                          std::string_view message) {
  std::string line = level == SystemLog::Level::error ? "error " : "info ";
  line.append(category).append(": ").append(message);
  std::ranges::replace_if(
      line, [](unsigned char letter) { return letter < 0x20 || letter == 0x7f; }, ' ');
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

void JournalSystemLog::write(Level level, std::string_view category, std::string_view message) {
  if (!send(level, category, message)) writeToStandardError(level, category, message);
}

}  // namespace quorvex
