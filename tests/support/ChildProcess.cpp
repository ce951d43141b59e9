#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

std::string whereIs(const std::string& program) {
  if (program.starts_with('/')) return program;
  std::istringstream folders(std::getenv("PATH"));
  for (std::string folder; std::getline(folders, folder, ':');)
    if (const auto path = folder + "/" + program; ::access(path.c_str(), X_OK) == 0) return path;
  return {};
}

std::vector<char*> pointers(std::vector<std::string>& lines) {
  std::vector<char*> all;
  for (auto& line : lines) all.push_back(line.data());
  all.push_back(nullptr);
  return all;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> words, const std::string& package,
                           const std::string& output, std::vector<std::string> environment) {
  const auto program = whereIs(words[0]);
  if (program.empty()) {
    ADD_FAILURE() << words[0] << " is not installed; it comes with the Debian package " << package;
    return;
  }
  const auto given = environment;
  for (char** line = environ; *line; ++line) {
    const std::string inherited = *line, name = inherited.substr(0, inherited.find('=') + 1);
    if (std::ranges::none_of(given, [&](const auto& one) { return one.starts_with(name); }))
      environment.push_back(inherited);
  }
  const auto arguments = pointers(words);
  const auto variables = pointers(environment);
  process = ::fork();
  if (process != 0) return;
  // Between fork and exec only what is safe in a copy of a program with threads.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  ::dup2(file, STDOUT_FILENO);
  ::dup2(file, STDERR_FILENO);
  ::execve(program.c_str(), arguments.data(), variables.data());
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
