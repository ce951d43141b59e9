#include "program/RunMonitor.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "program/ProcessUsage.h"

namespace quorvex {
namespace {

constexpr Seconds kSamplePeriod{1};
constexpr double kRateSeconds = 10;

template <class... Values>
std::string formatted(const char* format, Values... values) {
  std::array<char, 512> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

std::string frameSize(const SinkStatistics& sink) {
  return std::to_string(sink.frameWidth) + "x" + std::to_string(sink.frameHeight);
}

/// To a tenth, so that a report does not show more than was measured.
double tenths(double value) {
  return std::round(value * 10) / 10;
}

unsigned long long number(std::uint64_t value) {
  return value;
}

}  // namespace

RunMonitor::RunMonitor(DispatchQueue& queue, const Clock& time, Console& terminal, Sources watched)
    : mainQueue(queue),
      clock(time),
      console(terminal),
      sources(std::move(watched)),
      startTime(time.now()) {}

void RunMonitor::start() {
  samples.push_back(sampleNow());
  timer = mainQueue.every(kSamplePeriod, kSamplePeriod, [this] { tick(); });
}

void RunMonitor::stop() {
  timer.reset();
  samples.push_back(sampleNow());
}

RunMonitor::Sample RunMonitor::sampleNow() const {
  return {clock.now(), sources.captured(), sources.sink().enqueued};
}

void RunMonitor::tick() {
  samples.push_back(sampleNow());
  while (samples.back().time - samples.front().time > kRateSeconds + 0.5) samples.pop_front();
  showProgress();
}

double RunMonitor::rate(std::uint64_t Sample::*count, double seconds) const {
  if (samples.empty()) return 0;
  const Sample& last = samples.back();
  const Sample* first = &samples.front();
  for (const Sample& sample : samples) {
    first = &sample;
    if (last.time - sample.time <= seconds + 0.5) break;
  }
  const double span = last.time - first->time;
  return span > 0 ? static_cast<double>(last.*count - first->*count) / span : 0;
}

void RunMonitor::showProgress() const {
  const SinkStatistics sink = sources.sink();
  std::string numbers =
      formatted("in %.0f fps  out %.0f fps  dropped %llu", rate(&Sample::captured, 1),
                rate(&Sample::enqueued, 1), number(sink.errors()));
  const auto latency = sources.latency();
  if (latency.arrived > 0) numbers += formatted("  latency %.0f ms", latency.p50);
  console.progress(sources.status(), numbers);
}

std::string RunMonitor::summary() const {
  const SinkStatistics sink = sources.sink();
  const ProcessUsage used = processUsage();
  std::string text = "Status: " + sources.status() + "\n" +
                     formatted(
                         "Frames: %llu captured, %llu received (%s), %llu delivered, %llu dropped; "
                         "%.1f fps over the last 10 s\n",
                         number(sources.captured()), number(sink.enqueued + sink.errors()),
                         frameSize(sink).c_str(), number(sink.enqueued), number(sink.errors()),
                         rate(&Sample::enqueued, kRateSeconds));
  const auto latency = sources.latency();
  if (latency.arrived > 0) {
    text += formatted(
        "Latency from paint to sink: %.1f ms median, %.1f ms p95, %.1f ms at most; "
        "%llu frames lost\n",
        latency.p50, latency.p95, latency.max, number(latency.lostFrames));
  }
  return text + formatted("Used: %.1f s of CPU in %.0f s, %ld MiB at most, %d threads\n",
                          used.cpuSeconds, clock.now() - startTime, used.maxRssKiB / 1024,
                          used.threads);
}

std::string RunMonitor::report() const {
  const SinkStatistics sink = sources.sink();
  const ProcessUsage used = processUsage();
  nlohmann::ordered_json json{{"status", sources.status()},
                              {"seconds", tenths(clock.now() - startTime)},
                              {"captured", sources.captured()},
                              {"received", sink.enqueued + sink.errors()},
                              {"enqueued", sink.enqueued},
                              {"fps", tenths(rate(&Sample::enqueued, kRateSeconds))},
                              {"dropped",
                               {{"notReady", sink.dropNotReady},
                                {"queueFull", sink.dropQueueFull},
                                {"makeFail", sink.dropMakeFail},
                                {"enqErr", sink.dropEnqErr}}},
                              {"drained", sink.queueAltered},
                              {"frameSize", frameSize(sink)},
                              {"cpuSeconds", tenths(used.cpuSeconds)},
                              {"maxRssKiB", used.maxRssKiB},
                              {"threads", used.threads},
                              {"mainThreadStallMs", tenths(sources.mainThreadStall())}};
  const auto latency = sources.latency();
  if (latency.arrived > 0) {
    json["latencyMs"] = {
        {"p50", tenths(latency.p50)}, {"p95", tenths(latency.p95)}, {"max", tenths(latency.max)}};
    json["lostFrames"] = latency.lostFrames;
  }
  return json.dump(2) + "\n";
}

}  // namespace quorvex
