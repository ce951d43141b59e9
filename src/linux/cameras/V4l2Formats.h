#pragma once

#include <vector>

#include "linux/cameras/V4l2Device.h"

namespace quorvex {

/// What a device offers that can be turned into I420, in the driver's order; of one size, that
/// which reaches 30 frames a second at the least cost comes first. A device that names a range of
/// sizes is asked for the usual ones.
[[nodiscard]] std::vector<CaptureFormat> v4l2FormatsOf(const V4l2Device& device);

}  // namespace quorvex
