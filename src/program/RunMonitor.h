#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "linux/cameras/LatencyProbe.h"
#include "platform/Clock.h"
#include "platform/DispatchQueue.h"
#include "program/Console.h"
#include "sink/FrameProducer.h"

namespace quorvex {

/// Follows a run second by second: one line of progress, a summary, a report. Main queue only.
class RunMonitor {
 public:
  /// What it looks at.
  struct Sources {
    std::function<std::string()> status;
    std::function<std::uint64_t()> captured;
    std::function<SinkStatistics()> sink;
    /// The longest that the main thread has kept a task waiting, in milliseconds.
    std::function<double()> mainThreadStall;
    /// Of a camera that paints numbers; any other's frames never arrive in it.
    std::function<LatencyProbe::Summary()> latency;
  };

  RunMonitor(DispatchQueue& mainQueue, const Clock& clock, Console& console, Sources sources);

  /// Shows the progress once a second from here on.
  void start();
  void stop();

  /// Shows the progress now.
  void showProgress() const;

  /// The lines to leave a person with.
  [[nodiscard]] std::string summary() const;

  /// The report as JSON text.
  [[nodiscard]] std::string report() const;

  /// Whether a frame has reached the virtual camera.
  [[nodiscard]] bool hasDelivered() const { return sources.sink().enqueued > 0; }

 private:
  struct Sample {
    double time;
    std::uint64_t captured;
    std::uint64_t enqueued;
  };

  void tick();
  [[nodiscard]] Sample sampleNow() const;
  /// Frames a second over the samples kept, the newest `seconds` of them.
  [[nodiscard]] double rate(std::uint64_t Sample::*count, double seconds) const;

  DispatchQueue& mainQueue;
  const Clock& clock;
  Console& console;
  const Sources sources;
  const double startTime;
  std::deque<Sample> samples;
  std::unique_ptr<Timer> timer;
};

}  // namespace quorvex
