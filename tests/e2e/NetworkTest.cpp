// The host and the service with a network between them that fails as networks do.
#include <gmock/gmock.h>

#include "e2e/CameraReader.h"
#include "e2e/HostRun.h"
#include "support/ServiceRun.h"
#include "support/TestNetwork.h"

namespace quorvex::test {
namespace {

using std::chrono::seconds;
using namespace testing;
using Clock = CameraReader::Clock;
using Place = TestNetwork::Place;

const auto kRestarts = Contains(ContainsRegex("pipeline: restart #"));

class Network : public ::testing::Test {
 protected:
  void SetUp() override {
    try {
      network.emplace();
    } catch (const std::system_error& error) {
      GTEST_SKIP() << error.what();
    }
  }

  /// Starts a session over such a cable; waits for its pictures.
  void start(TestNetwork::Cable cable, const std::vector<std::string>& serviceOptions = {}) {
    service.emplace(serviceOptions, network->wrapper(Place::service));
    network->forward(service->port);
    if (!cable.ports.empty()) cable.ports.insert(service->port);
    network->become(cable);
    host.emplace(service->hostOptions(), std::vector<std::string>{}, network->wrapper(Place::host));
    camera.emplace(host->socket());
    ASSERT_TRUE(camera->flowsAgain({})) << host->printed();
  }
  /// Takes the link away for so long, and until the host says what it then should.
  void loseLink(seconds time, const char* said) {
    network->become({.plugged = false});
    const auto down = Clock::now();
    EXPECT_TRUE(camera->stops(time));
    std::this_thread::sleep_until(down + time);
    host->shows(said);
    network->become({});
    ASSERT_TRUE(camera->flowsAgain(Clock::now())) << host->printed();
  }
  /// The session ends live, and has logged nothing that is nobody's business: its report.
  nlohmann::json expectEnd() {
    auto report = host->interrupted();
    EXPECT_THAT(host->log(), Each(Not(ContainsRegex("10\\.77\\.|relay-secret"))));
    EXPECT_EQ(report.at("status"), kLive);
    return report;
  }
  /// A session over such a cable has its pictures, and that without a restart: its report.
  nlohmann::json expectBorne(const TestNetwork::Cable& cable, double leastFps,
                             const std::vector<std::string>& serviceOptions = {}) {
    start(cable, serviceOptions);
    // Not from the launch on: a reply may be lost several times over, which is no fault of ours.
    std::this_thread::sleep_for(seconds(8));
    auto report = expectEnd();
    EXPECT_THAT(host->log(), Not(kRestarts));
    EXPECT_GE(report.at("fps"), leastFps);
    return report;
  }

  std::optional<TestNetwork> network;
  std::optional<ServiceRun> service;
  std::optional<HostRun> host;
  std::optional<CameraReader> camera;
};

TEST_F(Network, mayLoseItsLinkFor3SecondsAndIsRestartedAfter10) {
  ASSERT_NO_FATAL_FAILURE(start({}));
  ASSERT_NO_FATAL_FAILURE(loseLink(seconds(3), kLive));
  // They may stop once more for a key frame; then they flow past the grace of a lost session.
  EXPECT_TRUE(eventually([&] { return !camera->stops(seconds(7)); }));
  EXPECT_THAT(host->log(), Not(kRestarts));

  ASSERT_NO_FATAL_FAILURE(loseLink(seconds(10), "Reconnecting…"));
  // The old session may come back for the time until the restart.
  host->shows(kLive, host->shows("Reconnecting…"));
  ASSERT_TRUE(camera->flowsAgain(Clock::now())) << host->printed();
  EXPECT_THAT(host->log(), Contains(ContainsRegex("restart #1 in 2s .(frame stall|ICE disc)")));
  expectEnd();
}

TEST_F(Network, bears2PercentOfLoss) {
  expectBorne({.lossPercent = 2}, 15);
}

TEST_F(Network, bears10PercentOfLoss) {
  expectBorne({.lossPercent = 10}, 5);
}

TEST_F(Network, bears100MillisecondsOfDelay) {
  const auto report = expectBorne({.delay = std::chrono::milliseconds(100)}, 15);
  EXPECT_GE(report.at("latencyMs").at("p50"), 200) << "there and back";
}

TEST_F(Network, goesThroughARelayWhereThereIsNoOtherWay) {
  network->runRelay();
  expectBorne({.ports = {TestNetwork::kRelayPort}}, 15, {"--ice-server", TestNetwork::kRelay});
}

}  // namespace
}  // namespace quorvex::test
