#pragma once

namespace quorvex {

/// What this process has used so far.
struct ProcessUsage {
  double cpuSeconds = 0;
  long maxRssKiB = 0;
  int threads = 0;  ///< now
};

[[nodiscard]] ProcessUsage processUsage();

}  // namespace quorvex
