#include <gmock/gmock.h>

#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using namespace test;
using namespace testing;

TEST(ServiceProgram, logsRequestsWithoutSecretsUntilTheEndOfItsInput) {
  const TemporaryFolder folder;
  const std::string done = folder / "done";
  ServiceRun program(
      {"--log", "--exit-with-parent", "--ice-server", "stun:a.example", "--ice-server",
       "turn:b.example,anna,secret"},
      {"sh", "-c", "until [ -e " + done + R"( ]; do sleep 0.02; done | "$@")", "sh"});
  const HostSession session(program.port);
  EXPECT_EQ(request(session.port, "GET", "/api/turn-credentials").body,
            nlohmann::json::parse(R"({"iceServers":[{"urls":["stun:a.example"]},
                {"urls":["turn:b.example"],"username":"anna","credential":"secret"}]})"));
  { StatusTalk status(session); }
  (void)session.post("/ws/offer?secret", {{"sdp", "v=0"}});
  std::ofstream(done).close();
  EXPECT_EQ(program.process->exitCode(), 0);
  for (const char* line : {"POST /api/session-token 200", "GET /ws/status 101", "offer 400"})
    EXPECT_THAT(program.printed(), HasSubstr(line));
  for (const std::string& secret : {session.token, session.userUuid, std::string("secret")})
    EXPECT_THAT(program.printed(), Not(HasSubstr(secret)));
}

TEST_F(ServiceTest, saysWhyAnotherCannotStart) {
  const std::string port = std::to_string(service.port);
  const std::pair<std::vector<std::string>, int> kCases[] = {{{"--size", "huge"}, 2},
                                                             {{"--port", port}, 1}};
  for (const auto& [options, code] : kCases) {
    const std::string output = service.folder / options[0];
    ChildProcess other({SERVICE_PROGRAM, options[0], options[1]}, "", output);
    EXPECT_EQ(other.exitCode(), code);
    EXPECT_THAT(contentOf(output), AllOf(HasSubstr(options[0]), HasSubstr(options[1])));
  }
}

}  // namespace
}  // namespace quorvex::service
