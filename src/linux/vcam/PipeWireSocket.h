#pragma once

#include <string>

#include "linux/UniqueFd.h"

namespace quorvex {

/// Where the user's PipeWire daemon listens, and connecting to it.
class PipeWireSocket {
 public:
  /// `remote` is a path, the name of a socket in the runtime directory, or empty for what the
  /// environment says. Reads the environment now and never again.
  explicit PipeWireSocket(const std::string& remote = {});

  /// A connection that is at once there or not; without a value when nobody answers, with one line
  /// for the user in `problem`.
  [[nodiscard]] UniqueFd connect(std::string* problem) const;

  /// The line that `problem` is given when `reason` keeps the daemon from answering.
  [[nodiscard]] std::string explained(const std::string& reason) const;

 private:
  std::string path;  ///< empty when the environment names no runtime directory
};

}  // namespace quorvex
