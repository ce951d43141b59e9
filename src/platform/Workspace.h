#pragma once

#include <string>

namespace quorvex {

/// Opens things with the program that the user has chosen for them. Main thread only.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// False when there is no program for it, or it could not be started.
  [[nodiscard]] virtual bool open(const std::string& url) = 0;
};

}  // namespace quorvex
