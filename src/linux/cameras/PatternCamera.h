#pragma once

#include <memory>

#include "linux/cameras/CameraThread.h"
#include "linux/cameras/FrameLedger.h"
#include "platform/Camera.h"

namespace quorvex {

/// One camera that every machine has: a moving test picture whose frames carry their number. It
/// enters each number into the ledger with the time at which its painting began, which is the
/// frame's capture time too. Numbers go on over a restart; a number is used by one frame only.
class PatternCamera : public CameraProvider {
 public:
  explicit PatternCamera(std::shared_ptr<FrameLedger> ledger);
  ~PatternCamera() override { stopCapture(); }

  std::vector<CaptureDevice> captureDevices() override;
  std::vector<CaptureFormat> supportedFormats(const CaptureDevice& device) override;
  /// From 1 to 30 frames a second, in one of the supported sizes.
  void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                    FrameHandler onFrame, StartCompletion completion) override;
  void stopCapture() override { thread.stop(); }

 private:
  const std::shared_ptr<FrameLedger> ledger;
  std::uint32_t nextNumber = 0;  ///< the running thread's, else the owner's
  CameraThread thread;
};

}  // namespace quorvex
