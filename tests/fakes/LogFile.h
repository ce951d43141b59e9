#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "log/HostLog.h"
#include "support/TemporaryFolder.h"

namespace quorvex {

/// Sends the host's log to a file of the test's own and reads it back.
class LogFile {
 public:
  LogFile() {
    std::ofstream created(path);
    setHostLogPath(path);
  }
  ~LogFile() { setHostLogPath("/dev/null"); }

  /// The messages since the last call, without time and tag.
  std::vector<std::string> lines() {
    std::ifstream file(path);
    file.seekg(offset);
    std::vector<std::string> messages;
    for (std::string line; std::getline(file, line);)
      messages.push_back(line.substr(line.find("] ") + 2));
    file.clear();
    file.seekg(0, std::ios::end);
    offset = file.tellg();
    return messages;
  }

  [[nodiscard]] std::string text() const { return test::contentOf(path); }

  const test::TemporaryFolder folder;
  const std::string path = folder / "log";

 private:
  std::streamoff offset = 0;
};

}  // namespace quorvex
