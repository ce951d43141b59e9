#include "program/CameraChoice.h"

#include <vector>

#include "linux/cameras/CameraSet.h"
#include "linux/cameras/PatternCamera.h"
#include "linux/cameras/V4l2Camera.h"
#include "linux/cameras/Y4mCamera.h"

namespace quorvex {
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

std::unique_ptr<CameraProvider> makeCamera(const Options& options,
                                           const std::shared_ptr<FrameLedger>& ledger,
                                           std::function<void(std::string_view)> log) {
  switch (options.camera) {
    case Options::Camera::pattern:
      return std::make_unique<PatternCamera>(ledger);
    case Options::Camera::y4m:
      return std::make_unique<Y4mCamera>(options.cameraPath, std::move(log));
    case Options::Camera::device:
      return std::make_unique<V4l2Camera>(std::move(log), options.cameraPath);
    case Options::Camera::automatic:
      break;
  }
  std::vector<std::unique_ptr<CameraProvider>> cameras;
  cameras.push_back(std::make_unique<V4l2Camera>(std::move(log)));
  if (options.demo) cameras.push_back(std::make_unique<PatternCamera>(ledger));
  return std::make_unique<CameraSet>(std::move(cameras));
}

}  // namespace quorvex
