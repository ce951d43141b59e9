// The real host and the real service under one random fault after another, for as long as is asked
// for. Not part of the normal run: scripts/soak.sh.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "e2e/CameraReader.h"
#include "e2e/HostRun.h"
#include "support/ServiceRun.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = CameraReader::Clock;

constexpr seconds kRecovery{90};  // all the restarts that there can be, and their builds
constexpr seconds kReportEvery{30};
constexpr double kMostGrowth = 1.15;

int numberFrom(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text ? std::atoi(text) : otherwise;
}

class Soak : public ::testing::Test {
 protected:
  /// What the host holds.
  struct Usage {
    long rssMiB, descriptors, threads;
  };
  [[nodiscard]] Usage usage() const {
    const std::string folder = "/proc/" + std::to_string(host.process->id());
    const auto entries = [&](const char* name) {
      return std::distance(std::filesystem::directory_iterator(folder + name), {});
    };
    long size = 0, resident = 0;
    std::ifstream(folder + "/statm") >> size >> resident;
    return {resident * ::sysconf(_SC_PAGESIZE) >> 20, entries("/fd"), entries("/task")};
  }

  int pick(int ways) { return std::uniform_int_distribution<int>(0, ways - 1)(random); }
  json oneOf(const json& choices) { return choices[pick(static_cast<int>(choices.size()))]; }

  /// Begins one fault, lets it last, ends it.
  void oneFault() {
    const json endpoints = {"session-token", "turn-credentials", "offer", "status",
                            "ice-candidate"};
    json reply =
        oneOf({{{"status", oneOf({401, 404, 429, 500, 502})}, {"body", "no"}},
               {{"status", 200}, {"body", oneOf({"", "<html>", "{\"sdp\":", "[]"})}},
               {{"delay", 0.1 * pick(40)}},
               {{"status", 503}, {"headers", {{"Retry-After", std::to_string(pick(8))}}}}});
    reply["times"] = 1 + pick(2);
    const json lost = {{"abort", true}}, vanished = {{"vanish", true}};
    const json message = {{"type", "error"}, {"error_type", oneOf({"PAUSE_TIMEOUT", "ODD"})}};
    const json queue = {
        {"places", 0}, {"ahead", pick(4)}, {"admit", oneOf({"start_connection", "not_queued"})}};
    fault = oneOf({{{"socket", lost}},
                   {{"socket", {{"close", oneOf({1000, 1001, 1006, 1011, 4001, 4400})}}}},
                   {{"socket", {{"send", message}}}},
                   {{"faults", {{"replies", {{oneOf(endpoints), reply}}}}}, {"socket", lost}},
                   {{"faults", {{"answer", "unusable"}}}, {"socket", lost}},
                   {{"faults", {{"media", "stopped"}}}},
                   {{"peers", vanished}},
                   {{"faults", queue}, {"peers", vanished}, {"socket", lost}},
                   {{"service", "killed"}},
                   {{"camera", "refuse"}},
                   {{"camera", "stall"}},
                   {{"camera", "vanish"}}});
    ++count;
    for (const auto& [what, order] : fault.items())
      if (what == "camera")
        service.tellCamera(order);
      else if (what == "service")
        service.kill();
      else
        service.control(what, order);
    (void)look(milliseconds(200 + pick(14'000)), false);
    if (fault.contains("service")) service.start();
    service.tellCamera("none");
    json well = json::parse(R"({"answer": "well", "media": "flowing", "places": null, "ahead": 0,
                                "admit": "start_connection"})");
    for (const auto& endpoint : endpoints) well["replies"][endpoint] = nullptr;
    service.control("faults", well);
  }

  /// Looks at the camera for so long, or until pictures have flowed for a second and a half: what
  /// flows only out of a queue's rest has ended by then. Whether they did.
  bool look(milliseconds limit, bool untilTheyFlow) {
    const auto begin = Clock::now();
    for (auto dry = begin; Clock::now() < begin + limit;) {
      std::this_thread::sleep_for(milliseconds(100));
      ++looks;
      if (reader.flowing())
        ++live;
      else
        dry = Clock::now();
      if (Clock::now() >= nextReport) report();
      if (untilTheyFlow && Clock::now() > dry + milliseconds(1500)) return true;
    }
    return false;
  }
  void report() {
    nextReport = Clock::now() + kReportEvery;
    const auto lines = host.log();
    const auto restarts = std::ranges::count_if(
        lines, [](const auto& line) { return line.starts_with("pipeline: restart #"); });
    const Usage used = usage();
    std::printf(
        "live %3.0f %%  faults %3d  restarts %3ld  rss %ld MiB  descriptors %ld  threads %ld\n",
        100.0 * live / looks, count, static_cast<long>(restarts), used.rssMiB, used.descriptors,
        used.threads);
    std::fflush(stdout);
  }

  const int seed = numberFrom("SOAK_SEED", 1);
  std::mt19937 random{static_cast<unsigned>(seed)};
  ServiceRun service;
  HostRun host{service.hostOptions()};
  CameraReader reader{host.socket()};
  json fault;
  int count = 0, looks = 0, live = 0;
  Clock::time_point nextReport = Clock::now() + kReportEvery;
};

TEST_F(Soak, staysAliveUnderRandomFaults) {
  std::printf("seed %d\n", seed);
  const seconds length(60 * numberFrom("SOAK_MINUTES", 10));
  const auto begin = Clock::now();
  ASSERT_TRUE(look(seconds(20), true)) << host.printed();
  std::optional<Usage> settled;
  while (Clock::now() < begin + length) {
    oneFault();
    ASSERT_TRUE(look(kRecovery, true)) << "wedged after " << fault << "\n" << host.printed();
    (void)look(milliseconds(pick(10'000)), false);  // a call between two troubles
    if (!settled && Clock::now() > begin + length / 4) settled = usage();
  }
  const Usage end = usage();
  ASSERT_TRUE(settled);
  report();
  EXPECT_LE(end.rssMiB, settled->rssMiB * kMostGrowth) << "since " << settled->rssMiB << " MiB";
  EXPECT_LE(end.threads, settled->threads);
  EXPECT_LE(end.descriptors, settled->descriptors + 2) << "a connection may be kept alive";
  (void)host.interrupted();
  EXPECT_EQ(host.printed().find("Sanitizer"), std::string::npos) << host.printed();
}

}  // namespace
}  // namespace quorvex::test
