#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

bool isInstalled(const std::string& program) {
  if (program.starts_with('/')) return ::access(program.c_str(), X_OK) == 0;
  std::istringstream folders(std::getenv("PATH"));
  for (std::string folder; std::getline(folders, folder, ':');)
    if (::access((folder + "/" + program).c_str(), X_OK) == 0) return true;
  return false;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words, const std::string& package,
                           const std::string& output, std::vector<std::string> environment) {
  if (!isInstalled(words[0])) {
    ADD_FAILURE() << words[0] << " is not installed; it comes with the Debian package " << package;
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

std::optional<int> ChildProcess::exitCode() {
  int status = 0;
  if (process < 0 || !eventually([&] { return ::waitpid(process, &status, WNOHANG) == process; },
                                 std::chrono::seconds(30)))
    return {};
  process = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ChildProcess::signal(int number) {
  if (process >= 0) ::kill(process, number);
}

void ChildProcess::kill() {
  if (process < 0) return;
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  process = -1;
}

}  // namespace quorvex::test
