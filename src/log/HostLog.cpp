#include "log/HostLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>

namespace quorvex {
namespace {

std::string& path() {
  static std::string path = "/tmp/quorvexcamera-host.diag";
  return path;
}

std::string lineFor(std::string_view message) {
  const std::chrono::duration<double> time = std::chrono::system_clock::now().time_since_epoch();
  std::array<char, 64> digits{};
  // Without a format it is the shortest text that reads back the same, as fixed as it is short.
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), time.count(),
                                 std::chars_format::fixed);
  std::string line(digits.data(), end.ptr);
  line.append(" [QXC-host] ").append(message).push_back('\n');
  return line;
}

}  // namespace

std::string hostLogPath() {
  return path();
}

void setHostLogPath(std::string newPath) {
  path() = std::move(newPath);
}

void hostLog(std::string_view message) {
  const std::string line = lineFor(message);
  // The directory is everybody's: a link or a pipe that somebody left under the name is not ours.
  const int file = ::open(
      path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file < 0) return;
  [[maybe_unused]] const auto written = ::write(file, line.data(), line.size());
  ::close(file);
}

}  // namespace quorvex
