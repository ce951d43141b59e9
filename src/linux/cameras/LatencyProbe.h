#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "linux/cameras/FrameLedger.h"
#include "platform/PixelBuffer.h"

namespace quorvex {

/// Measures how long numbered frames take from the pattern camera to the sink, and which of them
/// never arrive. Its memory does not grow with the run. Thread-safe.
class LatencyProbe {
 public:
  struct Summary {
    std::uint64_t arrived = 0;     ///< frames measured, each number once
    std::uint64_t lostFrames = 0;  ///< painted between the first and the last that arrived
    std::uint64_t unreadable = 0;  ///< delivered without a number that was painted lately
    double p50 = 0;                ///< milliseconds, as are the next two; 0 when none arrived
    double p95 = 0;
    double max = 0;
  };

  explicit LatencyProbe(std::shared_ptr<const FrameLedger> ledger);

  /// Reads the number of a delivered 420v picture; a picture shown again is not measured again.
  /// `arrivalTime` is monotonic, in nanoseconds. Takes about 10 us at 1280x720.
  void frameDelivered(const PixelBuffer& picture, std::int64_t arrivalTime);

  [[nodiscard]] Summary summary() const;

 private:
  [[nodiscard]] double percentile(double share) const;

  const std::shared_ptr<const FrameLedger> ledger;
  mutable std::mutex mutex;
  // State below is protected by mutex.
  std::vector<std::uint32_t> histogram;  ///< one bucket a tenth of a millisecond, the last for more
  std::uint64_t arrived = 0;
  std::uint64_t unreadable = 0;
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  std::int64_t longest = 0;
};

}  // namespace quorvex
