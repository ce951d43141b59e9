#include "linux/cameras/CameraSet.h"

#include <algorithm>

namespace quorvex {

std::vector<CaptureDevice> CameraSet::captureDevices() {
  std::vector<CaptureDevice> devices;
  for (const auto& provider : providers) {
    for (CaptureDevice& device : provider->captureDevices()) devices.push_back(std::move(device));
  }
  return devices;
}

std::vector<CaptureFormat> CameraSet::supportedFormats(const CaptureDevice& device) {
  CameraProvider* provider = providerOf(device);
  return provider ? provider->supportedFormats(device) : std::vector<CaptureFormat>{};
}

void CameraSet::startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                             FrameHandler onFrame, StartCompletion completion) {
  stopCapture();
  if (CameraProvider* provider = providerOf(device)) {
    provider->startCapture(device, format, fps, std::move(onFrame), std::move(completion));
  } else {
    completion(device.name + " is not there any more: plug it in again");
  }
}

void CameraSet::stopCapture() {
  for (const auto& provider : providers) provider->stopCapture();
}

CameraProvider* CameraSet::providerOf(const CaptureDevice& device) const {
  for (const auto& provider : providers) {
    const auto devices = provider->captureDevices();
    if (std::any_of(devices.begin(), devices.end(),
                    [&](const CaptureDevice& some) { return some.uniqueID == device.uniqueID; }))
      return provider.get();
  }
  return nullptr;
}

}  // namespace quorvex
