#include "program/ProcessUsage.h"

#include <sys/resource.h>

#include <filesystem>
#include <iterator>
#include <system_error>

namespace quorvex {

ProcessUsage processUsage() {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  std::error_code unreadable;
  const std::filesystem::directory_iterator tasks("/proc/self/task", unreadable);
  return {seconds(used.ru_utime) + seconds(used.ru_stime), used.ru_maxrss,
          static_cast<int>(std::distance(begin(tasks), end(tasks)))};
}

}  // namespace quorvex
