#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace quorvex {

/// Shows the medians of benchmarks named CASE/CONTENDER side by side, one case a row, the first
/// contender's time over each other's, and the counter "allocs".
class RatioTable : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Median {
    double microseconds = 0;
    double allocations = 0;
  };
  std::vector<std::string> cases;
  std::map<std::string, std::map<std::string, Median>> medians;  ///< by case and contender
};

}  // namespace quorvex
