#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "service/ServiceTalk.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
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

  [[nodiscard]] std::string printed() const {
    std::ifstream file(folder / "output");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] std::uint16_t port() const {
    (void)quorvex::test::eventually([&] { return printed().find('\n') != std::string::npos; });
    const auto line = nlohmann::json::parse(printed().substr(0, printed().find('\n')));
    const int number = std::stoi(line.at("api").get<std::string>().substr(17));
    const std::string place = "://127.0.0.1:" + std::to_string(number) + "/";
    EXPECT_EQ(line.at("api"), "http" + place);
    EXPECT_EQ(line.at("web"), "http" + place);
    EXPECT_EQ(line.at("socket"), "ws" + place);
    return static_cast<std::uint16_t>(number);
  }

  quorvex::test::TemporaryFolder folder;
  quorvex::test::ChildProcess process;
};

TEST(ServiceProgram, printsItsAddressesAndEndsCleanlyOnSignals) {
  for (const int number : {SIGTERM, SIGINT}) {
    Program program("");
    EXPECT_EQ(test::request(program.port(), "GET", "/api/turn-credentials").status, 200);
    program.process.signal(number);
    EXPECT_EQ(program.process.exitCode(), 0);
  }
}

TEST(ServiceProgram, endsWithItsInputWhenAskedTo) {
  const quorvex::test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "input").c_str(), 0600), 0);
  Program program("--exit-with-parent < " + folder / "input");
  std::ofstream input(folder / "input");
  EXPECT_EQ(test::request(program.port(), "GET", "/api/turn-credentials").status, 200);
  input.close();
  EXPECT_EQ(program.process.exitCode(), 0);
}

TEST(ServiceProgram, logsRequestsWithoutTokensAndQueries) {
  Program program("--log");
  const test::HostSession session(program.port());
  { test::StatusTalk status(session); }
  (void)session.post("/ws/offer?secret", {{"sdp", "v=0"}});
  program.process.signal(SIGTERM);
  EXPECT_EQ(program.process.exitCode(), 0);
  EXPECT_THAT(program.printed(),
              AllOf(HasSubstr("POST /api/session-token 200"), HasSubstr("GET /ws/status 101"),
                    HasSubstr("POST /ws/offer 400")));
  for (const std::string& secret : {session.token, session.userUuid, std::string("secret")})
    EXPECT_EQ(program.printed().find(secret), std::string::npos);
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
