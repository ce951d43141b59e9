#include "media/CaptureFormatChoice.h"

#include <algorithm>
#include <cstdlib>

namespace quorvex {
namespace {

constexpr int kTargetWidth = 1280;
constexpr int kTargetHeight = 720;
constexpr double kFrameRateCeiling = 30;

int distance(const CaptureFormat& format) {
  return std::abs(format.width - kTargetWidth) + std::abs(format.height - kTargetHeight);
}

}  // namespace

const CaptureFormat& nearestFormat(const std::vector<CaptureFormat>& formats) {
  return *std::min_element(formats.begin(), formats.end(),
                           [](const auto& a, const auto& b) { return distance(a) < distance(b); });
}

int captureFrameRate(const CaptureFormat& format) {
  const auto& ranges = format.videoSupportedFrameRateRanges;
  if (ranges.empty()) return static_cast<int>(kFrameRateCeiling);
  double best = 0;
  for (const auto& range : ranges) best = std::max(best, range.maxFrameRate);
  return static_cast<int>(std::min(best, kFrameRateCeiling));
}

}  // namespace quorvex
