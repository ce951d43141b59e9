#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "log/HostLog.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

inline constexpr const char* kLive = "Live ✓ — swapped camera ready";

/// One run of the real host, with folders of its own, and what it leaves behind.
class HostRun {
 public:
  /// `wrapper` are the words that go before the program's own, to run it elsewhere.
  explicit HostRun(std::vector<std::string> options, std::vector<std::string> environment = {},
                   std::vector<std::string> wrapper = {})
      : logStart(contentOf(hostLogPath()).size()) {
    std::vector<std::string> words = std::move(wrapper);
    words.emplace_back(HOST_PROGRAM);
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--report", folder / "report.json"});
    environment.insert(environment.begin(), {"XDG_CONFIG_HOME=" + (folder / "config"),
                                             "XDG_RUNTIME_DIR=" + (folder / "")});
    process.emplace(words, "", output(), environment);
  }

  [[nodiscard]] std::string socket() const { return folder / "quorvex-camera.sock"; }
  [[nodiscard]] std::string printed() const { return contentOf(output()); }
  [[nodiscard]] bool says(const std::string& text) const {
    return printed().find(text) != std::string::npos;
  }
  [[nodiscard]] nlohmann::json report() const {
    return nlohmann::json::parse(contentOf(folder / "report.json"));
  }

  /// What this run wrote into the host's log: each line's message.
  [[nodiscard]] std::vector<std::string> log() const {
    std::ifstream file(hostLogPath());
    file.seekg(static_cast<std::streamoff>(logStart));
    std::vector<std::string> messages;
    for (std::string line; std::getline(file, line);)
      messages.push_back(line.substr(line.find("] ") + 2));
    return messages;
  }

  TemporaryFolder folder;
  std::optional<ChildProcess> process;

 private:
  [[nodiscard]] std::string output() const { return folder / "output.txt"; }

  const std::size_t logStart;
};

}  // namespace quorvex::test
