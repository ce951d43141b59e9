#pragma once

#include <string>
#include <string_view>

namespace quorvex {

/// Appends one line (time, " [QXC-host] ", `message`, line feed) to the host's diagnostic file, in
/// one write, so that lines of several threads and processes never mix. The line is in the file
/// when the call returns. Never fails visibly: a line that cannot be written is dropped.
/// Thread-safe. `message` names its subsystem first ("pipeline: ") and never holds a token, an SDP
/// or a photo.
void hostLog(std::string_view message);

/// The diagnostic file, "/tmp/quorvexcamera-host.diag" unless set otherwise.
[[nodiscard]] std::string hostLogPath();
/// Names another file; called before the first line, by a program's start or a test's.
void setHostLogPath(std::string path);

}  // namespace quorvex
