#include "linux/cameras/Y4mCamera.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "linux/cameras/CameraError.h"
#include "linux/cameras/Y4mFile.h"

namespace quorvex {

Y4mCamera::Y4mCamera(std::string filePath, CameraLog lines)
    : path(std::move(filePath)), log(std::move(lines)) {}

std::optional<std::string> Y4mCamera::problemWith(const std::string& path) {
  try {
    Y4mFile(path).nextFrame();
    return std::nullopt;
  } catch (const CameraError& error) {
    return error.what();
  }
}

std::vector<CaptureDevice> Y4mCamera::captureDevices() {
  return {{path, oneLine(std::filesystem::path(path).filename().string())}};
}

std::vector<CaptureFormat> Y4mCamera::supportedFormats(const CaptureDevice& device) {
  if (device.uniqueID != path) return {};
  try {
    const Y4mHeader header = Y4mFile(path).header();
    return {{header.width, header.height, 0, {FrameRateRange{header.framesPerSecond}}}};
  } catch (const CameraError& error) {
    log(error.what());
    return {};
  }
}

void Y4mCamera::startCapture(const CaptureDevice& /*device*/, const CaptureFormat& /*format*/,
                             int fps, FrameHandler onFrame, StartCompletion completion) {
  thread.start("camera-y4m", [this, fps, onFrame = std::move(onFrame),
                              completion = std::move(completion)](const std::stop_token& stop) {
    const auto problem = problemWith(path);
    completion(problem);
    if (problem) return;
    playUntilStopped(stop, log, path,
                     [&](const auto& hasFrame) { play(stop, fps, onFrame, hasFrame); });
  });
}

void Y4mCamera::play(const std::stop_token& stop, int fps, const FrameHandler& onFrame,
                     const std::function<void()>& hasFrame) const {
  Y4mFile file(path);
  const double rate = file.header().framesPerSecond;
  const double share = rate < fps + 1 ? 1 : fps / rate;
  double due = 1;
  for (FramePacer pacer(rate); pacer.nextTick(stop); due += share) {
    const bool endWasSound = !file.endsInsideFrame();
    const I420Picture& picture = file.nextFrame();
    hasFrame();
    if (endWasSound && file.endsInsideFrame())
      log(oneLine(path + " ends inside a frame: it is played up to the last whole one"));
    if (due < 1) continue;
    due -= 1;
    onFrame(picture.view(), monotonicNow());
  }
}

}  // namespace quorvex
