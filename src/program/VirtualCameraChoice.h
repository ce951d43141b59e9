#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/vcam/V4l2LoopbackCamera.h"
#include "linux/vcam/VirtualCameraOutput.h"
#include "platform/Defaults.h"
#include "program/Options.h"

namespace quorvex {

/// The outputs behind the virtual camera for this run, and what to tell the user about them.
class VirtualCameraChoice {
 public:
  /// The user's setting "Compatibility format (YUYV)".
  static constexpr const char* kCompatibilityFormatKey = "rc.compatibilityFormat";

  using Log = std::function<void(std::string_view)>;

  /// `log` takes lines for people, on any thread.
  VirtualCameraChoice(const Options& options, Defaults& settings, const Log& log);
  /// Removes the private folder that the embedded camera's socket may have needed.
  ~VirtualCameraChoice();
  VirtualCameraChoice(const VirtualCameraChoice&) = delete;
  VirtualCameraChoice& operator=(const VirtualCameraChoice&) = delete;

  [[nodiscard]] const std::vector<std::shared_ptr<VirtualCameraOutput>>& outputs() const {
    return chosen;
  }

  /// The one of them that is a video device; null when this run feeds none.
  [[nodiscard]] V4l2LoopbackCamera* videoDevice() const { return loopback.get(); }

  /// The video device cannot be had, or the user has declined it: PipeWire makes the camera on its
  /// own, in later runs too, until the user wants to `reconsider`.
  void doWithoutVideoDevice();
  void reconsider();
  /// The video device is about to be made anew. One that is not as it should be is let go of, so
  /// that it can be replaced. Answers with why there shall be none.
  [[nodiscard]] std::optional<std::string> toldToTry();

  /// How to watch the virtual camera, or why it cannot be had; a line for each output.
  [[nodiscard]] const std::string& explanation() const { return lines; }

 private:
  void chooseV4l2(RawVideoFormat format, const Log& log);
  void explainV4l2();
  void choosePipeWire(bool suffices);
  void chooseEmbedded(const Log& log);
  void explain(const std::string& line);
  [[nodiscard]] std::string socketPath();

  Defaults& defaults;
  std::vector<std::shared_ptr<VirtualCameraOutput>> chosen;
  std::shared_ptr<VirtualCameraOutput> pipeWire;
  std::shared_ptr<V4l2LoopbackCamera> loopback;
  std::string lines;
  std::optional<std::string> privateFolder;
};

}  // namespace quorvex
