#pragma once

#include <vector>

#include "platform/Camera.h"

namespace quorvex {

/// The format nearest to 1280x720 by the sum of the differences of its sides; the earliest of
/// equals. `formats` is not empty.
[[nodiscard]] const CaptureFormat& nearestFormat(const std::vector<CaptureFormat>& formats);

/// The frames a second to capture `format` at: the most it offers, 30 at most, cut to a whole
/// number.
[[nodiscard]] int captureFrameRate(const CaptureFormat& format);

}  // namespace quorvex
