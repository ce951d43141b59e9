// The part of Quorvex Camera that runs as root: sets the camera's driver up. Takes one of two words
// and nothing else from its caller, neither from the command line nor from the environment.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "linux/driver/DriverSetup.h"

namespace quorvex {
namespace {

constexpr int kNotStarted = 127;
constexpr int kBadArguments = 2;

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> chunk;
  for (;;) {
    const ssize_t got = ::read(descriptor, chunk.data(), chunk.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(got));
  }
}

/// Runs one of the system's programs and keeps what it says of errors.
DriverSetup::CommandResult run(const std::vector<std::string>& command) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {kNotStarted, "no pipe"};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  std::vector<char*> arguments;
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  pid_t child = 0;
  const int error =
      ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  DriverSetup::CommandResult result{kNotStarted, command.front() + " is not installed"};
  if (error == 0) {
    result.output = readAll(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  }
  ::close(ends[0]);
  return result;
}

int setUp(std::string_view verb) {
  DriverSetup setup("/", run);
  const auto outcome = verb == "install" ? setup.install() : setup.remove();
  if (!outcome.message.empty()) std::fprintf(stderr, "%s\n", outcome.message.c_str());
  return static_cast<int>(outcome.end);
}

}  // namespace
}  // namespace quorvex

int main(int count, char** words) {
  const std::string_view verb = count == 2 ? words[1] : "";
  if (verb != "install" && verb != "remove") {
    std::fprintf(stderr, "Usage: %s install|remove\n", quorvex::kDriverSetupProgram);
    return quorvex::kBadArguments;
  }
  if (::geteuid() != 0) {
    std::fprintf(stderr, "This needs root; run: pkexec %s %s\n", quorvex::kDriverSetupProgram,
                 words[1]);
    return quorvex::kBadArguments;
  }
  ::umask(022);
  if (::clearenv() != 0 || ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1) != 0 ||
      ::setenv("LC_ALL", "C", 1) != 0)
    return 1;
  return quorvex::setUp(verb);
}
