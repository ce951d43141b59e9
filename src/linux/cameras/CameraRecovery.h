#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

namespace quorvex {

using CameraLog = std::function<void(std::string_view line)>;

/// Runs `play` until it returns, which it does once a stop is requested. When it throws
/// CameraError, the camera is lost: that is logged once, and `play` is tried again every second
/// until it calls its argument for a frame, which is logged as `name` being back.
void playUntilStopped(const std::stop_token& stop, const CameraLog& log, const std::string& name,
                      const std::function<void(const std::function<void()>& hasFrame)>& play);

}  // namespace quorvex
