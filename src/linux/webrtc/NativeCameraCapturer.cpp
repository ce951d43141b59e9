#include "linux/webrtc/NativeCameraCapturer.h"

#include "libyuv/convert.h"

namespace quorvex {

NativeCameraCapturer::NativeCameraCapturer(std::shared_ptr<CameraProvider> provider,
                                           rtc::scoped_refptr<PushVideoSource> target)
    : cameras(std::move(provider)),
      source(std::move(target)),
      pool(/*zero_initialize=*/false, 16) {}

NativeCameraCapturer::~NativeCameraCapturer() {
  cameras->stopCapture();
}

std::vector<CaptureDevice> NativeCameraCapturer::captureDevices() {
  return cameras->captureDevices();
}

std::vector<CaptureFormat> NativeCameraCapturer::supportedFormatsForDevice(
    const CaptureDevice& device) {
  return cameras->supportedFormats(device);
}

void NativeCameraCapturer::startCaptureWithDevice(const CaptureDevice& device,
                                                  const CaptureFormat& format, int fps,
                                                  CameraProvider::StartCompletion completion) {
  cameras->startCapture(
      device, format, fps,
      [this](const I420View& frame, std::int64_t captureTime) { deliver(frame, captureTime); },
      std::move(completion));
}

void NativeCameraCapturer::deliver(const I420View& frame, std::int64_t captureTime) {
  const auto buffer = pool.CreateI420Buffer(frame.width, frame.height);
  if (!buffer) return;  // all of them are still being encoded: this frame is late anyway
  libyuv::I420Copy(frame.dataY, frame.strideY, frame.dataU, frame.strideU, frame.dataV,
                   frame.strideV, buffer->MutableDataY(), buffer->StrideY(), buffer->MutableDataU(),
                   buffer->StrideU(), buffer->MutableDataV(), buffer->StrideV(), frame.width,
                   frame.height);
  source->push(buffer, captureTime);
}

}  // namespace quorvex
