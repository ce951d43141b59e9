#pragma once

#include <memory>

#include "common_video/include/video_frame_buffer_pool.h"
#include "linux/webrtc/PushVideoSource.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// Brings a camera's frames into the WebRTC library: one copy each, into a recycled buffer, with
/// the time at which the camera took them.
class NativeCameraCapturer : public RtcCameraVideoCapturer {
 public:
  NativeCameraCapturer(std::shared_ptr<CameraProvider> cameras,
                       rtc::scoped_refptr<PushVideoSource> source);
  ~NativeCameraCapturer() override;

  [[nodiscard]] std::vector<CaptureDevice> captureDevices() override;
  [[nodiscard]] std::vector<CaptureFormat> supportedFormatsForDevice(
      const CaptureDevice& device) override;
  void startCaptureWithDevice(const CaptureDevice& device, const CaptureFormat& format, int fps,
                              CameraProvider::StartCompletion completion) override;

 private:
  void deliver(const I420View& frame, std::int64_t captureTime);

  const std::shared_ptr<CameraProvider> cameras;
  const rtc::scoped_refptr<PushVideoSource> source;
  webrtc::VideoFrameBufferPool pool;  // the camera's thread
};

}  // namespace quorvex
