#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "e2e/HostRun.h"
#include "support/Eventually.h"
#include "support/HttpTalk.h"

namespace quorvex::test {

/// One run of the real service, which can be killed and started again on the port it had.
class ServiceRun {
 public:
  /// `wrapper` are the words that go before the program's own, to run it elsewhere.
  explicit ServiceRun(std::vector<std::string> options = {}, std::vector<std::string> wrapper = {})
      : given(std::move(options)), before(std::move(wrapper)) {
    start();
  }

  void start() {
    std::vector<std::string> words = before;
    words.emplace_back(SERVICE_PROGRAM);
    words.insert(words.end(), given.begin(), given.end());
    if (port) words.insert(words.end(), {"--port", std::to_string(port)});
    const std::size_t printed = contentOf(output()).size();
    process.emplace(words, "", output(), std::vector<std::string>{});
    const auto line = [&] { return contentOf(output()).substr(printed); };
    if (!eventually([&] { return line().ends_with('\n'); })) FAIL() << "no service: " << line();
    bases = nlohmann::json::parse(line());
    const std::string api = bases["api"];
    port = static_cast<std::uint16_t>(std::stoi(api.substr(api.rfind(':') + 1)));
  }
  /// Ends it as a crash would.
  void kill() { process.reset(); }

  /// What the host needs to use it.
  [[nodiscard]] std::vector<std::string> hostOptions() const {
    return {"--headless", "--camera",      "pattern",      "--virtual-camera", "embedded",
            "--stun",     "127.0.0.1",     "--web-base",   bases["web"],       "--api-base",
            bases["api"], "--socket-base", bases["socket"]};
  }

  /// Tells it to misbehave, or to behave again.
  nlohmann::json control(const std::string& what, const nlohmann::json& body) const {
    const auto reply = request(port, "POST", "/control/" + what,
                               {{"Content-Type", "application/json"}}, body.dump());
    EXPECT_LT(reply.status, 300) << reply.refusal();
    return reply.body;
  }
  [[nodiscard]] nlohmann::json state() const { return request(port, "GET", "/control/state").body; }

  TemporaryFolder folder;
  std::uint16_t port = 0;
  nlohmann::json bases;

 private:
  [[nodiscard]] std::string output() const { return folder / "service.txt"; }

  const std::vector<std::string> given, before;
  std::optional<ChildProcess> process;
};

}  // namespace quorvex::test
