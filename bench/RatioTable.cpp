#include "bench/RatioTable.h"

#include <cstdio>

namespace quorvex {

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
    const std::string& name = run.run_name.function_name;
    const auto slash = name.find('/');
    const std::string row = name.substr(0, slash);
    if (!medians.count(row)) cases.push_back(row);
    Median& median = medians[row][name.substr(slash + 1)];
    median.microseconds = run.GetAdjustedCPUTime();
    const auto counter = run.counters.find("allocs");
    if (counter != run.counters.end()) median.allocations = counter->second;
  }
}

void RatioTable::Finalize() {
  std::printf("%-28s %9s %9s %9s %12s %12s %7s\n", "us a frame (median, CPU)", "ours", "swscale",
              "memcpy", "ours/swscale", "ours/memcpy", "allocs");
  for (const auto& row : cases) {
    auto& times = medians[row];
    const double ours = times["ours"].microseconds;
    std::printf("%-28s %9.1f %9.1f %9.1f %12.2f %12.2f %7.2f\n", row.c_str(), ours,
                times["swscale"].microseconds, times["memcpy"].microseconds,
                ours / times["swscale"].microseconds, ours / times["memcpy"].microseconds,
                times["ours"].allocations);
  }
}

}  // namespace quorvex
