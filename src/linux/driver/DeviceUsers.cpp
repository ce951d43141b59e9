#include "linux/driver/DeviceUsers.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace quorvex {
namespace {

namespace fs = std::filesystem;

bool hasOpen(const fs::path& process, const fs::path& file) {
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unreadable;
    if (fs::read_symlink(entry->path(), unreadable) == file) return true;
  }
  return false;
}

bool isProcess(const std::string& name) {
  return std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); }) &&
         name != std::to_string(getpid());
}

}  // namespace

std::string programsUsing(const std::string& path) {
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  std::string programs;
  if (error) return programs;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string process = entry->path().filename().string();
    if (!isProcess(process) || !hasOpen(entry->path(), file)) continue;
    std::string name;
    std::getline(std::ifstream(entry->path() / "comm"), name);
    programs += (programs.empty() ? "" : "; ") + name + ", process " + process;
  }
  return programs;
}

}  // namespace quorvex
