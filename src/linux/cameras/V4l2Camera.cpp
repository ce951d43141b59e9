#include "linux/cameras/V4l2Camera.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "linux/cameras/CameraError.h"
#include "linux/cameras/V4l2Device.h"
#include "linux/cameras/V4l2Formats.h"
#include "linux/cameras/V4l2Stream.h"

namespace quorvex {
namespace {

constexpr std::int64_t kStallNanoseconds = 5'000'000'000;

CaptureDevice openForListing(const std::string& path) {
  const V4l2Device device(path);
  if (v4l2FormatsOf(device).empty()) {
    throw CameraError(path + " (" + device.cardName() +
                      ") offers no picture format that can be used: name another camera");
  }
  return {path, device.cardName()};
}

void deliverPictures(V4l2Stream& stream, const std::stop_token& stop, const std::string& path,
                     const CameraProvider::FrameHandler& onFrame,
                     const std::function<void()>& hasFrame, std::uint64_t& damaged) {
  std::int64_t lastPicture = monotonicNow();
  while (!stop.stop_requested()) {
    if (const auto captureTime = stream.nextPicture(damaged)) {
      lastPicture = monotonicNow();
      hasFrame();
      onFrame(stream.picture().view(), *captureTime);
    } else if (monotonicNow() - lastPicture > kStallNanoseconds) {
      throw CameraError(path +
                        " has delivered no whole picture for 5 seconds, its stream is begun " +
                        "again: plug it in again when that does not help");
    }
  }
}

}  // namespace

V4l2Camera::V4l2Camera(CameraLog lines, std::optional<std::string> path)
    : log(std::move(lines)), onlyPath(std::move(path)) {}

std::optional<std::string> V4l2Camera::problemWith(const std::string& path) {
  try {
    (void)openForListing(path);
    return std::nullopt;
  } catch (const CameraError& error) {
    return error.what();
  }
}

std::vector<std::string> V4l2Camera::paths() const {
  return onlyPath ? std::vector{*onlyPath} : V4l2Device::paths();
}

std::vector<CaptureDevice> V4l2Camera::captureDevices() {
  std::vector<CaptureDevice> devices;
  for (const std::string& path : paths()) {
    try {
      devices.push_back(openForListing(path));
    } catch (const CameraError& error) {
      // Not every video device is a camera; one that is forbidden or taken may well be.
      const bool isKeptOut =
          error.code() == EACCES || error.code() == EPERM || error.code() == EBUSY;
      if (onlyPath || isKeptOut) logOnce(error.what());
    }
  }
  return devices;
}

std::vector<CaptureFormat> V4l2Camera::supportedFormats(const CaptureDevice& device) {
  try {
    return v4l2FormatsOf(V4l2Device(device.uniqueID));
  } catch (const CameraError& error) {
    logOnce(error.what());
    return {};
  }
}

void V4l2Camera::startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                              FrameHandler onFrame, StartCompletion completion) {
  thread.start("camera-v4l2", [=, this, onFrame = std::move(onFrame),
                               completion = std::move(completion)](const std::stop_token& stop) {
    std::unique_ptr<V4l2Stream> stream;
    std::string path = device.uniqueID;
    try {
      stream = std::make_unique<V4l2Stream>(path, format, fps);
    } catch (const CameraError& error) {
      completion(error.what());
      return;
    }
    completion(std::nullopt);
    std::uint64_t damaged = 0;
    playUntilStopped(stop, log, device.name, [&](const std::function<void()>& hasFrame) {
      if (!stream) {
        path = findAgain(device);
        stream = std::make_unique<V4l2Stream>(path, format, fps);
      }
      // The stream ends with the attempt, so that the next one can open the device anew.
      const std::unique_ptr<V4l2Stream> running = std::move(stream);
      deliverPictures(*running, stop, path, onFrame, hasFrame, damaged);
    });
    if (damaged > 0) {
      log(device.name + ": " + std::to_string(damaged) +
          " damaged pictures were left out: try another USB port or cable");
    }
  });
}

std::string V4l2Camera::findAgain(const CaptureDevice& device) const {
  std::optional<std::string> elsewhere;
  for (const std::string& path : paths()) {
    if (path != device.uniqueID && elsewhere) continue;
    try {
      if (openForListing(path).name != device.name) continue;
      if (path == device.uniqueID) return path;
      elsewhere = path;
    } catch (const CameraError&) {
      continue;  // another device, or this one not ready yet; the next try will tell
    }
  }
  if (!elsewhere) throw CameraError(device.name + " is not there: plug the camera in");
  return *elsewhere;
}

void V4l2Camera::logOnce(const std::string& line) {
  {
    std::lock_guard hold(mutex);
    if (!logged.insert(line).second) return;
  }
  log(line);
}

}  // namespace quorvex
