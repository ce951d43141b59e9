#include "linux/threads/StderrSystemLog.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace quorvex {

void StderrSystemLog::write(Level level, std::string_view category, std::string_view message) {
  std::string line = level == Level::error ? "error " : "info ";
  line.append(category).append(": ").append(message);
  std::replace_if(
      line.begin(), line.end(),
      [](unsigned char letter) { return letter < 0x20 || letter == 0x7f; }, ' ');
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace quorvex
