#include "linux/cameras/V4l2Formats.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "linux/cameras/V4l2Pixels.h"

namespace quorvex {
namespace {

using Size = std::pair<unsigned, unsigned>;

// Asked of a device that names a range of sizes, or none.
constexpr std::array<Size, 5> kUsualSizes{
    {{1280, 720}, {640, 480}, {1920, 1080}, {640, 360}, {320, 240}}};
// More than any driver lists, in case one never says that its list is at an end.
constexpr unsigned kLongestList = 256;

double rateOf(const v4l2_fract& interval) {
  return interval.numerator ? static_cast<double>(interval.denominator) / interval.numerator : 0;
}

std::vector<Size> sizesOf(const V4l2Device& device, FourCharCode pixelFormat) {
  std::vector<Size> sizes;
  v4l2_frmsizeenum entry{};
  entry.pixel_format = pixelFormat;
  for (; entry.index < kLongestList && device.control(VIDIOC_ENUM_FRAMESIZES, &entry) == 0;
       ++entry.index) {
    if (entry.type != V4L2_FRMSIZE_TYPE_DISCRETE) break;
    sizes.emplace_back(entry.discrete.width, entry.discrete.height);
  }
  if (!sizes.empty()) return sizes;
  for (const auto& [width, height] : kUsualSizes) {
    v4l2_format nearest{};
    nearest.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    nearest.fmt.pix.width = width;
    nearest.fmt.pix.height = height;
    nearest.fmt.pix.pixelformat = pixelFormat;
    if (device.control(VIDIOC_TRY_FMT, &nearest) != 0) continue;
    const Size size{nearest.fmt.pix.width, nearest.fmt.pix.height};
    if (nearest.fmt.pix.pixelformat == pixelFormat &&
        std::find(sizes.begin(), sizes.end(), size) == sizes.end())
      sizes.push_back(size);
  }
  return sizes;
}

std::vector<FrameRateRange> ratesOf(const V4l2Device& device, FourCharCode pixelFormat,
                                    const Size& size) {
  std::vector<FrameRateRange> rates;
  v4l2_frmivalenum entry{};
  entry.pixel_format = pixelFormat;
  entry.width = size.first;
  entry.height = size.second;
  for (; entry.index < kLongestList && device.control(VIDIOC_ENUM_FRAMEINTERVALS, &entry) == 0;
       ++entry.index) {
    const bool discrete = entry.type == V4L2_FRMIVAL_TYPE_DISCRETE;
    const double rate = rateOf(discrete ? entry.discrete : entry.stepwise.min);
    if (rate > 0) rates.push_back({rate});
    if (!discrete) break;
  }
  return rates;
}

// Frames a second as far as they are of use; a device that does not say counts as 30.
long usefulRate(const CaptureFormat& format) {
  double best = format.videoSupportedFrameRateRanges.empty() ? 30 : 0;
  for (const FrameRateRange& range : format.videoSupportedFrameRateRanges)
    best = std::max(best, range.maxFrameRate);
  return std::lround(std::min(best, 30.0));
}

bool sameSize(const CaptureFormat& one, const CaptureFormat& other) {
  return one.width == other.width && one.height == other.height;
}

bool isBetter(const CaptureFormat& one, const CaptureFormat& other) {
  const long rate = usefulRate(one);
  const long otherRate = usefulRate(other);
  return rate != otherRate ? rate > otherRate
                           : conversionCost(one.pixelFormat) < conversionCost(other.pixelFormat);
}

}  // namespace

std::vector<CaptureFormat> v4l2FormatsOf(const V4l2Device& device) {
  std::vector<CaptureFormat> sorted;
  v4l2_fmtdesc description{};
  description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  for (; description.index < kLongestList && device.control(VIDIOC_ENUM_FMT, &description) == 0;
       ++description.index) {
    const FourCharCode code = description.pixelformat;
    if (!conversionCost(code)) continue;
    for (const Size& size : sizesOf(device, code)) {
      const CaptureFormat format{static_cast<int>(size.first), static_cast<int>(size.second), code,
                                 ratesOf(device, code, size)};
      auto place = std::find_if(sorted.begin(), sorted.end(), [&](const CaptureFormat& other) {
        return sameSize(format, other) && isBetter(format, other);
      });
      sorted.insert(place, format);
    }
  }
  return sorted;
}

}  // namespace quorvex
