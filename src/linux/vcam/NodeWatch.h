#pragma once

#include <string>

#include "linux/UniqueFd.h"

namespace quorvex {

/// Notices which nodes of a folder like /dev come, go, or change who may use them. Bound to one
/// thread.
class NodeWatch {
 public:
  struct Changes {
    bool any = false;
    bool created = false;  ///< a node has come, be it under a name that was there before
  };

  /// Watches nodes whose names begin with `prefix`.
  NodeWatch(const std::string& folder, std::string prefix);

  /// Readable once there are changes; -1 when the kernel watches nothing for us.
  [[nodiscard]] int descriptor() const { return inotify.get(); }

  /// What has changed since the last call; never waits.
  [[nodiscard]] Changes take();

 private:
  const std::string prefix;
  UniqueFd inotify;
};

}  // namespace quorvex
