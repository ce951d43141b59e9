#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/PixelBuffer.h"

namespace quorvex {

struct CaptureDevice {
  std::string uniqueID;  ///< what the provider finds it by again, for example a device path
  std::string name;      ///< what people call it
};

struct FrameRateRange {
  double maxFrameRate = 0;  ///< frames a second
};

struct CaptureFormat {
  int width = 0;
  int height = 0;
  FourCharCode pixelFormat = 0;  ///< the provider's own code; says nothing to anybody else
  std::vector<FrameRateRange> videoSupportedFrameRateRanges;
};

/// The cameras of one kind that this machine has, and the one of them that is running.
/// The listing operations may be called from any thread; start and stop from one thread at a time.
class CameraProvider {
 public:
  /// Called on the camera's own thread, one frame at a time; the view is valid for the call only.
  /// `captureTime` is the monotonic clock's (CLOCK_MONOTONIC), in nanoseconds.
  using FrameHandler = std::function<void(const I420View& frame, std::int64_t captureTime)>;
  /// Called once: none when frames will come, else what is wrong and how to mend it.
  using StartCompletion = std::function<void(std::optional<std::string> error)>;

  virtual ~CameraProvider() = default;

  /// In the order in which the system lists them.
  [[nodiscard]] virtual std::vector<CaptureDevice> captureDevices() = 0;

  /// Empty when the device is gone or offers nothing that can be turned into I420.
  [[nodiscard]] virtual std::vector<CaptureFormat> supportedFormats(
      const CaptureDevice& device) = 0;

  /// Starts one device. A device that fails later (unplugged) says so in one log line, ends its
  /// frames and tries every second to come back.
  virtual void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                            FrameHandler onFrame, StartCompletion completion) = 0;

  /// Returns when the last frame has been handed over. Stopping twice does nothing.
  virtual void stopCapture() = 0;
};

}  // namespace quorvex
