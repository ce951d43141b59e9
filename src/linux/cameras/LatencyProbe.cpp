#include "linux/cameras/LatencyProbe.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "linux/cameras/FrameStamp.h"

namespace quorvex {
namespace {

constexpr std::int64_t kBucketNanoseconds = 100'000;
constexpr std::int64_t kBuckets = 100'000;
constexpr double kBucketMilliseconds = 0.1;

}  // namespace

LatencyProbe::LatencyProbe(std::shared_ptr<const FrameLedger> frames)
    : ledger(std::move(frames)), histogram(kBuckets + 1) {}

void LatencyProbe::frameDelivered(const PixelBuffer& picture, std::int64_t arrivalTime) {
  const auto number = readFrameStamp(picture.baseAddressOfPlane(0), picture.bytesPerRowOfPlane(0),
                                     picture.cleanAperture);
  const auto painted = number ? ledger->paintTime(*number) : std::nullopt;

  std::lock_guard hold(mutex);
  if (!painted) {
    ++unreadable;
    return;
  }
  if (arrived == 0) {
    first = *number;
  } else if (*number <= last) {
    return;
  }
  last = *number;
  ++arrived;
  const std::int64_t latency = std::max<std::int64_t>(arrivalTime - *painted, 0);
  longest = std::max(longest, latency);
  ++histogram[std::min(latency / kBucketNanoseconds, kBuckets)];
}

LatencyProbe::Summary LatencyProbe::summary() const {
  std::lock_guard hold(mutex);
  Summary summary{.arrived = arrived, .unreadable = unreadable};
  if (arrived == 0) return summary;
  summary.lostFrames = std::uint64_t{last} - first + 1 - arrived;
  summary.p50 = percentile(0.50);
  summary.p95 = percentile(0.95);
  summary.max = static_cast<double>(longest) / 1e6;
  return summary;
}

// The upper edge of the bucket in which that share of the frames is reached.
double LatencyProbe::percentile(double share) const {
  auto left = static_cast<std::int64_t>(std::ceil(share * static_cast<double>(arrived)));
  std::size_t bucket = 0;
  while ((left -= histogram[bucket]) > 0) ++bucket;
  return std::min(static_cast<double>(bucket + 1) * kBucketMilliseconds,
                  static_cast<double>(longest) / 1e6);
}

}  // namespace quorvex
