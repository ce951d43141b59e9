#pragma once

#include <optional>
#include <string>

#include "linux/cameras/CameraRecovery.h"
#include "linux/cameras/CameraThread.h"
#include "platform/Camera.h"

namespace quorvex {

/// One YUV4MPEG2 file as a camera: played at its own rate, over and over, streamed from the disk.
/// A file that stops being playable on the way is a lost camera: see `CameraProvider`.
class Y4mCamera : public CameraProvider {
 public:
  /// `log` takes lines for people, on any thread.
  Y4mCamera(std::string path, CameraLog log);
  ~Y4mCamera() override { stopCapture(); }

  /// Why the file cannot be played and how to mend it; none when it can. Reads its first frame.
  [[nodiscard]] static std::optional<std::string> problemWith(const std::string& path);

  /// The file, whether it can be played or not.
  std::vector<CaptureDevice> captureDevices() override;
  /// Logs what is wrong when there is none.
  std::vector<CaptureFormat> supportedFormats(const CaptureDevice& device) override;
  /// `fps` matters only when the file is faster by one frame a second or more: then frames are left
  /// out.
  void startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                    FrameHandler onFrame, StartCompletion completion) override;
  void stopCapture() override { thread.stop(); }

 private:
  void play(const std::stop_token& stop, int fps, const FrameHandler& onFrame,
            const std::function<void()>& hasFrame) const;

  const std::string path;
  const CameraLog log;
  CameraThread thread;
};

}  // namespace quorvex
