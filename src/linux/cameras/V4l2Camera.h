#pragma once

#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "linux/cameras/CameraRecovery.h"
#include "linux/cameras/CameraThread.h"
#include "platform/Camera.h"

namespace quorvex {

/// The webcams of this machine (V4L2). One that is unplugged comes back under the name it had, at
/// the same path or another.
class V4l2Camera : public CameraProvider {
 public:
  /// `log` takes lines for people, on any thread. With `onlyPath` no other device is looked at.
  explicit V4l2Camera(CameraLog log, std::optional<std::string> onlyPath = std::nullopt);
  ~V4l2Camera() override { stopCapture(); }

  /// Why a device cannot be used and how to mend it; none when it can. Opens it for a moment.
  [[nodiscard]] static std::optional<std::string> problemWith(const std::string& path);

  /// By number; only those that offer a format. Logs once what keeps a camera that is there from
  /// being listed.
  std::vector<CaptureDevice> captureDevices() override;
  std::vector<CaptureFormat> supportedFormats(const CaptureDevice& device) override;
  void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                    FrameHandler onFrame, StartCompletion completion) override;
  void stopCapture() override { thread.stop(); }

 private:
  /// Where the device is now. Throws CameraError when it is nowhere.
  [[nodiscard]] std::string findAgain(const CaptureDevice& device) const;
  [[nodiscard]] std::vector<std::string> paths() const;
  void logOnce(const std::string& line);

  const CameraLog log;
  const std::optional<std::string> onlyPath;
  std::mutex mutex;
  std::set<std::string> logged;  // protected by mutex
  CameraThread thread;
};

}  // namespace quorvex
