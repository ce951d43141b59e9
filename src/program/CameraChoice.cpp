#include "program/CameraChoice.h"

#include <algorithm>

#include "linux/cameras/PatternCamera.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/Y4mCamera.h"

namespace quorvex {
namespace {

bool hasWebcam() {
  const auto devices = V4l2Camera([](std::string_view) {}).captureDevices();
  return std::any_of(devices.begin(), devices.end(),
                     [](const auto& device) { return device.name != "Quorvex Camera"; });
}

}  // namespace

std::optional<std::string> cameraProblem(const Options& options) {
  switch (options.camera) {
    case Options::Camera::y4m:
      return Y4mCamera::problemWith(options.cameraPath);
    case Options::Camera::device:
      return V4l2Camera::problemWith(options.cameraPath);
    case Options::Camera::automatic:
    case Options::Camera::pattern:
      return std::nullopt;
  }
  return std::nullopt;
}

Options::Camera chosenCamera(const Options& options) {
  const bool standIn = options.camera == Options::Camera::automatic && options.demo && !hasWebcam();
  return standIn ? Options::Camera::pattern : options.camera;
}

std::unique_ptr<CameraProvider> makeCamera(Options::Camera choice, const Options& options,
                                           const std::shared_ptr<FrameLedger>& ledger,
                                           std::function<void(std::string_view)> log) {
  switch (choice) {
    case Options::Camera::pattern:
      return std::make_unique<PatternCamera>(ledger);
    case Options::Camera::y4m:
      return std::make_unique<Y4mCamera>(options.cameraPath, std::move(log));
    case Options::Camera::device:
      return std::make_unique<V4l2Camera>(std::move(log), options.cameraPath);
    case Options::Camera::automatic:
      break;
  }
  return std::make_unique<V4l2Camera>(std::move(log));
}

}  // namespace quorvex
