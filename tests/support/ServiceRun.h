#pragma once

#include <gtest/gtest.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <optional>

#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/HttpTalk.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

/// One run of the real service, which can be killed and started again on the port it had.
class ServiceRun {
 public:
  /// `wrapper` are the words that go before the program's own, to run it elsewhere.
  explicit ServiceRun(const std::vector<std::string>& options = {},
                      std::vector<std::string> wrapper = {})
      : words(std::move(wrapper)) {
    words.emplace_back(SERVICE_PROGRAM);
    words.insert(words.end(), options.begin(), options.end());
    start();
    const std::string api = bases["api"];
    port = static_cast<std::uint16_t>(std::stoi(api.substr(api.rfind(':') + 1)));
    words.insert(words.end(), {"--port", std::to_string(port)});
  }

  void start() {
    const std::size_t before = printed().size();
    process.emplace(words, "", output(), std::vector<std::string>{});
    const auto line = [&] { return printed().substr(before); };
    if (!eventually([&] { return line().ends_with('\n'); })) FAIL() << "no service: " << line();
    bases = nlohmann::json::parse(line());
  }
  /// Ends it as a crash would.
  void kill() { process.reset(); }
  [[nodiscard]] std::string printed() const { return contentOf(output()); }

  /// What a host needs to use it and to take `tellCamera`, and more.
  [[nodiscard]] std::vector<std::string> hostOptions(
      const std::vector<std::string>& more = {}) const {
    std::vector<std::string> all{
        "--headless", "--camera",      "pattern",       "--virtual-camera", "embedded",
        "--stun",     "127.0.0.1",     "--web-base",    bases["web"],       "--api-base",
        bases["api"], "--socket-base", bases["socket"], "--fault-socket",   folder / "faults"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  /// Makes the virtual camera of a host that was started so misbehave: "refuse", "stall", "vanish",
  /// or behave: "none".
  void tellCamera(const std::string& command) const {
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    socket.connect(folder / "faults");
    boost::asio::write(socket, boost::asio::buffer(command + "\n"));
    std::string answer(3, ' ');
    boost::asio::read(socket, boost::asio::buffer(answer));
    EXPECT_EQ(answer, "ok\n");
  }

  /// Tells it to misbehave, or to behave again.
  void control(const std::string& what, const nlohmann::json& body) const {
    const auto reply = request(port, "POST", "/control/" + what,
                               {{"Content-Type", "application/json"}}, body.dump());
    EXPECT_LT(reply.status, 300) << reply.refusal();
  }
  [[nodiscard]] nlohmann::json state() const { return request(port, "GET", "/control/state").body; }

  TemporaryFolder folder;
  std::uint16_t port = 0;
  nlohmann::json bases;
  std::optional<ChildProcess> process;

 private:
  [[nodiscard]] std::string output() const { return folder / "service.txt"; }

  std::vector<std::string> words;
};

}  // namespace quorvex::test
