#pragma once

#include <functional>
#include <map>
#include <string>

namespace quorvex {

/// Opens things with the program that the user has chosen for them. Used on the main thread, which
/// it does not keep waiting: starting a program may take a tenth of a second.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// Calls `completion`, unless it is empty, on the main thread: with false when there is no
  /// program for it, or it could not be started.
  virtual void open(const std::string& url, std::function<void(bool opened)> completion) = 0;

  /// Starts another instance of this application beside this one, as this one was started, with
  /// `environment` and what the desktop gave this one. Calls `completion` as above.
  virtual void openApplication(std::map<std::string, std::string> environment,
                               std::function<void(bool opened)> completion) = 0;
};

}  // namespace quorvex
