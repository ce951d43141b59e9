#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/vcam/VirtualCameraOutput.h"
#include "program/Options.h"

namespace quorvex {

/// The outputs behind the virtual camera for this run, and what to tell the user about them.
class VirtualCameraChoice {
 public:
  /// `log` takes lines for people, on any thread.
  VirtualCameraChoice(const Options& options, const std::function<void(std::string_view)>& log);
  /// Removes the private folder that the embedded camera's socket may have needed.
  ~VirtualCameraChoice();
  VirtualCameraChoice(const VirtualCameraChoice&) = delete;
  VirtualCameraChoice& operator=(const VirtualCameraChoice&) = delete;

  [[nodiscard]] const std::vector<std::shared_ptr<VirtualCameraOutput>>& outputs() const {
    return chosen;
  }

  /// How to watch the virtual camera, or why it cannot be had; one line.
  [[nodiscard]] const std::string& explanation() const { return line; }

 private:
  void choosePipeWire();
  void chooseEmbedded(const std::function<void(std::string_view)>& log);
  [[nodiscard]] std::string socketPath();

  std::vector<std::shared_ptr<VirtualCameraOutput>> chosen;
  std::string line;
  std::optional<std::string> privateFolder;
};

}  // namespace quorvex
