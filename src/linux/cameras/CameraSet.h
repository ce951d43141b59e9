#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/Camera.h"

namespace quorvex {

/// Several kinds of cameras as one: the devices of the first provider, then those of the next.
class CameraSet : public CameraProvider {
 public:
  explicit CameraSet(std::vector<std::unique_ptr<CameraProvider>> kinds)
      : providers(std::move(kinds)) {}
  ~CameraSet() override { stopCapture(); }

  std::vector<CaptureDevice> captureDevices() override;
  std::vector<CaptureFormat> supportedFormats(const CaptureDevice& device) override;
  /// Stops the camera that was running. A device that is not listed any more ends in `completion`.
  void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                    FrameHandler onFrame, StartCompletion completion) override;
  void stopCapture() override;

 private:
  [[nodiscard]] CameraProvider* providerOf(const CaptureDevice& device) const;

  const std::vector<std::unique_ptr<CameraProvider>> providers;
};

}  // namespace quorvex
