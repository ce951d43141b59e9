#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvex {

/// `text` with its control characters replaced, so that it stays one line wherever it is shown.
[[nodiscard]] std::string oneLine(std::string_view text);

/// What is wrong with a camera and how to mend it, as one line for people. Thrown and caught inside
/// this folder only.
class CameraError : public std::runtime_error {
 public:
  /// `code` is the errno behind it, 0 when there is none.
  explicit CameraError(std::string_view message, int code = 0)
      : std::runtime_error(oneLine(message)), errorCode(code) {}

  [[nodiscard]] int code() const { return errorCode; }

 private:
  int errorCode;
};

}  // namespace quorvex
