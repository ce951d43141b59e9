#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quorvex {

/// What the user's PipeWire daemon knows of the virtual camera. A snapshot.
struct PipeWireGraph {
  bool sessionManager = false;       ///< there is one; without it no program is given a camera
  bool camera = false;               ///< the node is there
  std::vector<std::string> readers;  ///< the programs that are linked to it

  /// Asks the daemon; waits for its answer as long as `limit`. Without a value when there is none,
  /// with one line for a person in `problem`. `remote` as PipeWireSocket takes it.
  [[nodiscard]] static std::optional<PipeWireGraph> ask(std::chrono::milliseconds limit,
                                                        std::string* problem,
                                                        const std::string& remote = {});
};

}  // namespace quorvex
