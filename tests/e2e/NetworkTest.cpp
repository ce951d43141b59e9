// The host and the service with a network between them that fails as networks do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "e2e/CameraReader.h"
#include "e2e/HostRun.h"
#include "e2e/ServiceRun.h"
#include "support/TestNetwork.h"

namespace quorvex::test {
namespace {

using std::chrono::seconds;
using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::Each;
using ::testing::MatchesRegex;
using ::testing::Not;
using Clock = CameraReader::Clock;
using Middle = TestNetwork::Middle;
using Place = TestNetwork::Place;

class Network : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const auto why = TestNetwork::whyNot()) GTEST_SKIP() << *why;
  }

  /// Starts a session of so many seconds on a network with these faults; waits for its pictures.
  void start(const char* fault, const char* lasting, Middle middle, int lossPercent,
             int delayMilliseconds) {
    network.emplace(middle);
    network->impair(lossPercent, delayMilliseconds);
    std::vector<std::string> options;
    if (middle == Middle::relays) options = {"--ice-server", TestNetwork::kRelay};
    service.emplace(options, network->wrapper(Place::service));
    network->forward(service->port);
    options = service->hostOptions();
    options.insert(options.end(), {"--seconds", lasting});
    ended = Clock::now();
    host.emplace(options, std::vector<std::string>{}, network->wrapper(Place::host));
    camera.emplace(host->socket());
    expectPictures(fault);
  }

  void expectPictures(const char* fault) {
    const auto took = camera->flowsAgain(ended, seconds(20));
    ASSERT_TRUE(took) << fault << ": " << host->printed() << ::testing::PrintToString(host->log());
    std::printf("measured: %s: %.2f s to pictures again\n", fault, *took);
  }

  /// Takes the link away for so long, and until the host says what it then should.
  void loseLink(const char* fault, seconds time, const char* said) {
    ASSERT_NO_FATAL_FAILURE(start("no fault", "60", Middle::forwards, 0, 0));
    network->linkDown();
    const auto down = Clock::now();
    EXPECT_TRUE(camera->stops(seconds(2)));
    std::this_thread::sleep_until(down + time);
    EXPECT_TRUE(eventually([&] { return host->says(said); })) << host->printed();
    network->linkUp();
    ended = Clock::now();
    expectPictures(fault);
  }

  /// The report of a session that ends live, and has logged nothing that is nobody's business.
  nlohmann::json end() {
    EXPECT_EQ(host->process->exitCode(), 0) << host->printed();
    EXPECT_THAT(host->log(), Each(Not(ContainsRegex("10\\.77\\.|relay-secret"))));
    EXPECT_EQ(host->report().at("status"), kLive);
    return host->report();
  }

  /// The report of a session under a fault that stays: its pictures flow without a restart.
  nlohmann::json sessionUnder(const char* fault, Middle middle, int lossPercent,
                              int delayMilliseconds, double leastFps) {
    start(fault, "8", middle, lossPercent, delayMilliseconds);
    auto report = end();
    EXPECT_THAT(host->log(), Not(Contains(ContainsRegex(" restart #"))));
    EXPECT_GE(report.at("fps"), leastFps);
    std::printf("%s: %s fps, latency in ms %s\n", fault, report.at("fps").dump().c_str(),
                report.at("latencyMs").dump().c_str());
    return report;
  }

  std::optional<TestNetwork> network;
  std::optional<ServiceRun> service;
  std::optional<HostRun> host;
  std::optional<CameraReader> camera;
  Clock::time_point ended;  ///< the fault, or the time before the session
};

TEST_F(Network, outsitsALinkThatIsLostFor3Seconds) {
  ASSERT_NO_FATAL_FAILURE(loseLink("link lost for 3 s", seconds(3), kLive));
  // They may stop once more for a key frame; then they flow past the grace of a lost session.
  EXPECT_TRUE(eventually([&] { return !camera->stops(seconds(7)); }));
  EXPECT_THAT(host->log(), Not(Contains(ContainsRegex(" restart #"))));
  host->process->signal(SIGINT);
  end();
}

TEST_F(Network, restartsAfterALinkThatIsLostFor10Seconds) {
  ASSERT_NO_FATAL_FAILURE(loseLink("link lost for 10 s", seconds(10), "Reconnecting…"));
  // The old session may come back for the time until the restart.
  const auto lost = host->printed().find("Reconnecting…");
  EXPECT_TRUE(eventually([&] { return host->printed().find(kLive, lost) != std::string::npos; }))
      << host->printed();
  expectPictures("link lost for 10 s, after the restart");
  EXPECT_THAT(host->log(),
              Contains(MatchesRegex(
                  "pipeline: restart #1 in 2s \\((frame stall [0-9]+s|ICE disconnected)\\)")));
  host->process->signal(SIGINT);
  end();
}

TEST_F(Network, bears2PercentOfLoss) {
  sessionUnder("2 % loss", Middle::forwards, 2, 0, 15);
}

TEST_F(Network, bears10PercentOfLoss) {
  sessionUnder("10 % loss", Middle::forwards, 10, 0, 5);
}

TEST_F(Network, bears100MillisecondsOfDelay) {
  const auto report = sessionUnder("100 ms delay", Middle::forwards, 0, 100, 15);
  EXPECT_GE(report.at("latencyMs").at("p50"), 200) << "there and back";
}

TEST_F(Network, goesThroughARelayWhereThereIsNoOtherWay) {
  sessionUnder("relay only", Middle::relays, 0, 0, 15);
}

}  // namespace
}  // namespace quorvex::test
