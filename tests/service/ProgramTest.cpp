#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using testing::HasSubstr;

/// The program with its standard streams on pipes.
class Program {
 public:
  explicit Program(std::vector<std::string> options) {
    std::array<int, 2> in{}, out{}, err{};
    for (auto* ends : {&in, &out, &err})
      if (pipe2(ends->data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    process = fork();
    if (process == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      dup2(err[1], STDERR_FILENO);
      std::vector<char*> words = {const_cast<char*>(QUORVEX_SERVICE_PROGRAM)};
      for (auto& option : options) words.push_back(option.data());
      words.push_back(nullptr);
      execv(words[0], words.data());
      _exit(127);
    }
    for (const int end : {in[0], out[1], err[1]}) close(end);
    input = in[1];
    output = out[0];
    errors = err[0];
  }
  ~Program() {
    if (process > 0) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
    endInput();
    close(output);
    close(errors);
  }
  Program(Program&&) = delete;

  std::string line() { return readUntil(output, '\n'); }
  std::string error() { return readUntil(errors, '\0'); }
  void endInput() {
    if (input >= 0) close(input);
    input = -1;
  }
  void signal(int number) const { kill(process, number); }
  int exitCode() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  static std::string readUntil(int file, char end) {
    std::string text;
    for (char c = 0; read(file, &c, 1) == 1 && c != end;) text += c;
    return text;
  }

  pid_t process = -1;
  int input = -1;
  int output = -1;
  int errors = -1;
};

TEST(ServiceProgram, printsItsAddressesAndEndsCleanlyOnSignals) {
  for (const int number : {SIGTERM, SIGINT}) {
    Program program({});
    const auto addresses = nlohmann::json::parse(program.line());
    const std::string api = addresses.at("api");
    const int port = std::stoi(api.substr(api.rfind(':') + 1));
    const std::string place = "://127.0.0.1:" + std::to_string(port) + "/";
    EXPECT_EQ(api, "http" + place);
    EXPECT_EQ(addresses.at("web"), "http" + place);
    EXPECT_EQ(addresses.at("socket"), "ws" + place);
    EXPECT_EQ(test::request(port, "GET", "/api/turn-credentials").status, 200);
    program.signal(number);
    EXPECT_EQ(program.exitCode(), 0);
  }
}

TEST(ServiceProgram, endsWithItsInputWhenAskedTo) {
  Program program({"--exit-with-parent"});
  program.line();
  program.endInput();
  EXPECT_EQ(program.exitCode(), 0);
}

TEST(ServiceProgram, logsRequestsWithoutTokensAndQueries) {
  Program program({"--log"});
  const auto addresses = nlohmann::json::parse(program.line());
  const std::string api = addresses.at("api");
  const test::HostSession session(static_cast<std::uint16_t>(std::stoi(api.substr(17))));
  { test::StatusTalk status(session); }
  (void)session.post("/ws/offer?secret", {{"sdp", "v=0"}});
  program.signal(SIGTERM);
  const std::string log = program.error();
  EXPECT_THAT(log, HasSubstr("POST /api/session-token 200"));
  EXPECT_THAT(log, HasSubstr("GET /ws/status 101"));
  EXPECT_THAT(log, HasSubstr("POST /ws/offer 400"));
  for (const std::string& secret : {session.token, session.userUuid, std::string("secret")})
    EXPECT_EQ(log.find(secret), std::string::npos);
}

TEST(ServiceProgram, saysWhyItCannotStart) {
  Program bad({"--size", "huge"});
  EXPECT_EQ(bad.exitCode(), 2);
  EXPECT_THAT(bad.error(), HasSubstr("--size"));

  Program first({});
  const std::string api = nlohmann::json::parse(first.line()).at("api");
  const std::string port = api.substr(17, api.size() - 18);
  Program second({"--port", port});
  EXPECT_EQ(second.exitCode(), 1);
  EXPECT_THAT(second.error(), testing::AllOf(HasSubstr(port), HasSubstr("--port")));
}

}  // namespace
}  // namespace quorvex::service
