#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "support/Eventually.h"

namespace quorvex::test {

/// A program that ends with the test at the latest.
class ChildProcess {
 public:
  /// `words[0]` is a path or looked for in PATH; `environment` holds NAME=VALUE lines in
  /// place of those of the test; what it prints goes to the file `output`. When the program is not
  /// installed the test fails, naming the Debian `package` that it comes with.
  ChildProcess(std::vector<std::string> words, const std::string& package,
               const std::string& output, std::vector<std::string> environment = {}) {
    if (!isInstalled(words[0])) {
      ADD_FAILURE() << words[0] << " is not installed; it comes with the Debian package "
                    << package;
      return;
    }
    environment.insert(environment.begin(), "env");
    words.insert(words.begin(), environment.begin(), environment.end());
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    process = ::fork();
    if (process != 0) return;
    // Between fork and exec only what is safe in a copy of a program with threads.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(file, STDOUT_FILENO);
    ::dup2(file, STDERR_FILENO);
    ::execv("/usr/bin/env", arguments.data());
    ::_exit(127);
  }
  ~ChildProcess() { kill(); }
  ChildProcess(ChildProcess&&) = delete;

  /// Its exit code; none when it does not end within a minute.
  [[nodiscard]] std::optional<int> exitCode() {
    int status = 0;
    const auto ended = [&] { return ::waitpid(process, &status, WNOHANG) == process; };
    if (process < 0 || !eventually(ended)) return {};
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  void signal(int number) const {
    if (process >= 0) ::kill(process, number);
  }
  /// Its process id, while it has not been waited for.
  [[nodiscard]] int id() const { return process; }
  /// Ends it as a crash would.
  void kill() {
    signal(SIGKILL);
    (void)exitCode();
  }

 private:
  static bool isInstalled(const std::string& program) {
    if (program.starts_with('/')) return ::access(program.c_str(), X_OK) == 0;
    std::istringstream folders(std::getenv("PATH"));
    for (std::string folder; std::getline(folders, folder, ':');)
      if (::access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    return false;
  }

  int process = -1;
};

}  // namespace quorvex::test
