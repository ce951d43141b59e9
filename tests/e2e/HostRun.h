#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

inline constexpr const char* kLive = "Live ✓ — swapped camera ready";

/// One run of the real host, with folders of its own, and what it leaves behind.
class HostRun {
 public:
  /// `wrapper` are the words that go before the program's own, to run it elsewhere.
  explicit HostRun(const std::vector<std::string>& options,
                   std::vector<std::string> environment = {},
                   std::vector<std::string> wrapper = {}) {
    wrapper.emplace_back(HOST_PROGRAM);
    wrapper.insert(wrapper.end(), options.begin(), options.end());
    wrapper.insert(wrapper.end(), {"--report", folder / "report.json"});
    environment.insert(environment.begin(),
                       {"XDG_CONFIG_HOME=" + (folder / "config"),
                        "XDG_RUNTIME_DIR=" + (folder / ""), "RC_LOG_FILE=" + logFile()});
    process.emplace(wrapper, "", output(), environment);
  }

  [[nodiscard]] std::string socket() const { return folder / "quorvex-camera.sock"; }
  [[nodiscard]] std::string logFile() const { return folder / "host.diag"; }
  [[nodiscard]] std::string printed() const { return contentOf(output()); }
  [[nodiscard]] nlohmann::json report() const {
    return nlohmann::json::parse(contentOf(folder / "report.json"));
  }
  /// What it wrote into its log: each line's message.
  [[nodiscard]] std::vector<std::string> log() const {
    std::ifstream file(logFile());
    std::vector<std::string> messages;
    for (std::string line; std::getline(file, line);)
      messages.push_back(line.substr(line.find("] ") + 2));
    return messages;
  }

  /// Waits until it prints this behind the first `from` bytes: the bytes up to there.
  std::size_t shows(const std::string& text, std::size_t from = 0) const {
    std::size_t at = 0;
    EXPECT_TRUE(eventually([&] { return (at = printed().find(text, from)) != std::string::npos; },
                           kPatience))
        << text << " is not shown behind the first " << from << " bytes of:\n"
        << printed();
    return at;
  }
  /// Waits for a line of the log behind the first `from`: the number of lines up to it.
  std::size_t logs(const std::string& start, std::size_t from = 0) const {
    std::size_t at = 0;
    const auto logged = [&] {
      const auto lines = log();
      for (at = from; at < lines.size(); ++at)
        if (lines[at].starts_with(start)) return true;
      return false;
    };
    EXPECT_TRUE(eventually(logged, kPatience)) << "no line begins with: " << start << printed();
    return at + 1;
  }
  /// Ends it as Ctrl-C does: its report.
  nlohmann::json interrupted() {
    process->signal(SIGINT);
    EXPECT_EQ(process->exitCode(), 0) << printed();
    return report();
  }

  TemporaryFolder folder;
  std::optional<ChildProcess> process;

 private:
  static constexpr std::chrono::seconds kPatience{40};

  [[nodiscard]] std::string output() const { return folder / "output.txt"; }
};

}  // namespace quorvex::test
