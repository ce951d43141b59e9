#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "service/ServiceTalk.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace quorvex::service {
namespace {

using namespace testing;

/// The program, run by a shell, and what it prints.
class Program {
 public:
  explicit Program(const std::string& options)
      : process({"sh", "-c", "exec " QUORVEX_SERVICE_PROGRAM " " + options}, "dash",
                folder / "output") {}

  [[nodiscard]] std::string printed() const { return test::contentOf(folder / "output"); }
  [[nodiscard]] std::uint16_t port() const {
    (void)test::eventually([&] { return printed().find('\n') != std::string::npos; });
    const std::string text = printed(), before = "http://127.0.0.1:";
    return static_cast<std::uint16_t>(std::stoi(text.substr(text.find(before) + before.size())));
  }

  test::TemporaryFolder folder;
  test::ChildProcess process;
};

TEST(ServiceProgram, logsRequestsWithoutSecretsUntilASignalOrTheEndOfItsInput) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "input").c_str(), 0600), 0);
  for (const int number : {SIGTERM, SIGINT, 0}) {
    Program program("--log --ice-server stun:a.example --ice-server turn:b.example,anna,secret" +
                    (number ? "" : " --exit-with-parent < " + folder / "input"));
    std::ofstream input(number ? "/dev/null" : folder / "input");
    const test::HostSession session(program.port());
    EXPECT_EQ(test::request(session.port, "GET", "/api/turn-credentials").body,
              nlohmann::json::parse(R"({"iceServers":[{"urls":["stun:a.example"]},
                  {"urls":["turn:b.example"],"username":"anna","credential":"secret"}]})"));
    { test::StatusTalk status(session); }
    (void)session.post("/ws/offer?secret", {{"sdp", "v=0"}});
    input.close();
    if (number) program.process.signal(number);
    EXPECT_EQ(program.process.exitCode(), 0);
    for (const char* line : {"POST /api/session-token 200", "GET /ws/status 101", "offer 400"})
      EXPECT_THAT(program.printed(), HasSubstr(line));
    for (const std::string& secret : {session.token, session.userUuid, std::string("secret")})
      EXPECT_THAT(program.printed(), Not(HasSubstr(secret)));
  }
}

TEST(ServiceProgram, saysWhyItCannotStart) {
  Program bad("--size huge");
  EXPECT_EQ(bad.process.exitCode(), 2);
  EXPECT_THAT(bad.printed(), HasSubstr("--size"));

  const Program first("");
  const std::string port = std::to_string(first.port());
  Program second("--port " + port);
  EXPECT_EQ(second.process.exitCode(), 1);
  EXPECT_THAT(second.printed(), AllOf(HasSubstr(port), HasSubstr("--port")));
}

}  // namespace
}  // namespace quorvex::service
