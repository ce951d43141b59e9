// The real host and the real service under one random fault after another, for as long as is asked
// for. Not part of the normal run: scripts/soak.sh.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "e2e/CameraReader.h"
#include "e2e/FaultSocket.h"
#include "e2e/ServiceRun.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using std::chrono::seconds;
using Clock = CameraReader::Clock;

constexpr seconds kRecovery{90};  // all the restarts that there can be, and their builds
constexpr seconds kReportEvery{30};
constexpr std::chrono::milliseconds kLook{100};
constexpr double kMostGrowth = 1.15;

/// What a process holds.
struct Usage {
  long rssMiB = 0;
  long descriptors = 0;
  long threads = 0;
};

Usage usageOf(int process) {
  const std::string folder = "/proc/" + std::to_string(process);
  const auto entries = [&](const char* name) {
    return std::distance(std::filesystem::directory_iterator(folder + name), {});
  };
  Usage usage{.descriptors = entries("/fd"), .threads = entries("/task")};
  long size = 0;
  std::ifstream(folder + "/statm") >> size >> usage.rssMiB;
  usage.rssMiB = usage.rssMiB * ::sysconf(_SC_PAGESIZE) >> 20;
  return usage;
}

int numberFrom(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text ? std::atoi(text) : otherwise;
}

class Soak {
 public:
  explicit Soak(unsigned seed) : random(seed) {}

  /// True when the host was live at the end and nothing had grown.
  void run(seconds length) {
    const auto begin = Clock::now();
    ASSERT_TRUE(flowsWithin(seconds(20))) << host.printed();
    std::optional<Usage> settled;
    while (Clock::now() < begin + length) {
      oneFault();
      ASSERT_TRUE(flowsWithin(kRecovery)) << "wedged after " << last << "\n" << host.printed();
      lookFor(std::chrono::milliseconds(pick(10'000)));  // a call between two troubles
      if (!settled && Clock::now() > begin + length / 4) settled = usageOf(host.process->id());
    }
    const Usage end = usageOf(host.process->id());
    ASSERT_TRUE(settled);
    report();
    EXPECT_LE(end.rssMiB, settled->rssMiB * kMostGrowth) << "since " << settled->rssMiB << " MiB";
    EXPECT_LE(end.threads, settled->threads);
    EXPECT_LE(end.descriptors, settled->descriptors + 2) << "a connection may be kept alive";
    host.process->signal(SIGINT);
    EXPECT_EQ(host.process->exitCode(), 0) << host.printed();
    EXPECT_EQ(host.printed().find("Sanitizer"), std::string::npos) << host.printed();
  }

 private:
  int pick(int ways) { return std::uniform_int_distribution<int>(0, ways - 1)(random); }
  template <class T>
  T oneOf(std::initializer_list<T> choices) {
    return *(choices.begin() + pick(static_cast<int>(choices.size())));
  }

  json randomReply() {
    switch (pick(4)) {
      case 0:
        return {{"status", oneOf({401, 404, 429, 500, 502})}, {"body", "no"}};
      case 1:
        return {{"status", 200}, {"body", oneOf<const char*>({"", "<html>", "{\"sdp\":", "[]"})}};
      case 2:
        return {{"delay", 0.1 * pick(40)}};
      default:
        return {{"status", 503}, {"headers", {{"Retry-After", std::to_string(pick(8))}}}};
    }
  }

  /// Begins one fault, lets it last, ends it.
  void oneFault() {
    struct Kind {
      const char* name;
      std::vector<std::pair<const char*, json>> orders;  ///< to the service's controls
      const char* camera = nullptr;
    };
    const std::pair<const char*, json> lostSocket{"socket", {{"abort", true}}};
    const std::pair<const char*, json> vanishedPeer{"peers", {{"vanish", true}}};
    json reply = randomReply();
    reply["times"] = 1 + pick(2);
    const char* endpoint = oneOf<const char*>(
        {"session-token", "turn-credentials", "offer", "status", "ice-candidate"});
    const json message = {{"type", "error"},
                          {"error_type", oneOf<const char*>({"PAUSE_TIMEOUT", "ODD"})}};
    const json queue = {{"places", 0},
                        {"ahead", pick(4)},
                        {"admit", oneOf<const char*>({"start_connection", "not_queued"})}};
    const Kind kinds[] = {
        {"a lost socket", {lostSocket}},
        {"a closed socket", {{"socket", {{"close", oneOf({1000, 1001, 1006, 1011, 4001, 4400})}}}}},
        {"an error message", {{"socket", {{"send", message}}}}},
        {"a bad reply", {{"faults", {{"replies", {{endpoint, reply}}}}}, lostSocket}},
        {"an unusable answer", {{"faults", {{"answer", "unusable"}}}, lostSocket}},
        {"stopped media", {{"faults", {{"media", "stopped"}}}}},
        {"a vanished peer", {vanishedPeer}},
        {"the queue", {{"faults", queue}, vanishedPeer, lostSocket}},
        {"a killed service", {}},
        {"a camera that refuses", {}, "refuse"},
        {"a camera that stalls", {}, "stall"},
        {"a camera that vanishes", {}, "vanish"}};
    const Kind& kind = kinds[pick(std::size(kinds))];
    last = kind.name;
    ++count;
    for (const auto& [what, body] : kind.orders) service.control(what, body);
    if (kind.camera) tell(service, kind.camera);
    const bool killed = kind.orders.empty() && !kind.camera;
    if (killed) service.kill();
    lookFor(std::chrono::milliseconds(200 + pick(14'000)));
    if (killed) service.start();
    tell(service, "none");
    service.control("faults", {{"replies",
                                {{"session-token", nullptr},
                                 {"turn-credentials", nullptr},
                                 {"offer", nullptr},
                                 {"status", nullptr},
                                 {"ice-candidate", nullptr}}},
                               {"answer", "well"},
                               {"media", "flowing"},
                               {"places", nullptr},
                               {"ahead", 0},
                               {"admit", "start_connection"}});
  }

  /// Looks at the camera for so long.
  void lookFor(std::chrono::milliseconds length) {
    for (const auto end = Clock::now() + length; Clock::now() < end;) look();
  }
  bool flowsWithin(seconds limit) {
    const auto since = Clock::now();
    // A second and a half of pictures: what flows only out of a queue's rest has ended by then.
    for (auto good = since; Clock::now() < since + limit;) {
      look();
      if (!reader.flowing()) good = Clock::now();
      if (Clock::now() > good + std::chrono::milliseconds(1500)) return true;
    }
    return false;
  }
  void look() {
    std::this_thread::sleep_for(kLook);
    ++looks;
    live += reader.flowing() ? 1 : 0;
    if (Clock::now() < nextReport) return;
    nextReport += kReportEvery;
    report();
  }
  void report() const {
    const auto lines = host.log();
    const auto restarts = std::count_if(lines.begin(), lines.end(), [](const auto& line) {
      return line.starts_with("pipeline: restart #");
    });
    const Usage used = usageOf(host.process->id());
    std::printf(
        "live %3.0f %%  faults %3d  restarts %3ld  rss %ld MiB  descriptors %ld  threads %ld\n",
        100.0 * live / looks, count, static_cast<long>(restarts), used.rssMiB, used.descriptors,
        used.threads);
    std::fflush(stdout);
  }

  std::mt19937 random;
  ServiceRun service;
  HostRun host{withFaultSocket(service)};
  CameraReader reader{host.socket()};
  std::string last;
  int count = 0, looks = 0, live = 0;
  Clock::time_point nextReport = Clock::now() + kReportEvery;
};

TEST(Soak, staysAliveUnderRandomFaults) {
  const int seed = numberFrom("SOAK_SEED", 1);
  std::printf("seed %d\n", seed);
  Soak(static_cast<unsigned>(seed)).run(seconds(60 * numberFrom("SOAK_MINUTES", 10)));
}

}  // namespace
}  // namespace quorvex::test
