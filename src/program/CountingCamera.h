#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/Camera.h"

namespace quorvex {

/// A camera whose frames are counted on their way, and whose user is told when it does not start.
class CountingCamera : public CameraProvider {
 public:
  CountingCamera(std::unique_ptr<CameraProvider> camera, std::function<void(std::string_view)> tell)
      : tellUser(std::move(tell)), counted(std::move(camera)) {}

  [[nodiscard]] std::uint64_t captured() const { return frames; }

  [[nodiscard]] std::vector<CaptureDevice> captureDevices() override {
    return counted->captureDevices();
  }
  [[nodiscard]] std::vector<CaptureFormat> supportedFormats(const CaptureDevice& device) override {
    return counted->supportedFormats(device);
  }
  void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                    FrameHandler onFrame, StartCompletion completion) override {
    counted->startCapture(
        device, format, fps,
        [this, onFrame = std::move(onFrame)](const I420View& frame, std::int64_t time) {
          frames.fetch_add(1, std::memory_order_relaxed);
          onFrame(frame, time);
        },
        [this, completion = std::move(completion)](std::optional<std::string> error) {
          if (error) tellUser(*error);
          completion(std::move(error));
        });
  }
  void stopCapture() override { counted->stopCapture(); }

 private:
  const std::function<void(std::string_view)> tellUser;
  std::atomic<std::uint64_t> frames{0};
  const std::unique_ptr<CameraProvider> counted;  // ended before what its frames count in
};

}  // namespace quorvex
