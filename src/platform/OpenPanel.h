#pragma once

#include <optional>
#include <string>

namespace quorvex {

/// Lets the user choose one image file. Main thread only.
class OpenPanel {
 public:
  virtual ~OpenPanel() = default;

  /// Brings the application to the front and waits for the user. `prompt` is on the button that
  /// confirms, `message` above the files. None when the user does not confirm.
  [[nodiscard]] virtual std::optional<std::string> chooseImage(const std::string& prompt,
                                                               const std::string& message) = 0;
};

}  // namespace quorvex
