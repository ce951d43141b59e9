#pragma once

#include <optional>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

/// A PipeWire daemon with its session manager and message bus, apart from those of the machine.
class PrivatePipeWire {
 public:
  PrivatePipeWire();

  void startDaemon();
  /// Kills the daemon and the session manager with signal 9.
  void killDaemon();

  /// The daemon's socket.
  [[nodiscard]] std::string remote() const { return folder / "pipewire-0"; }
  /// What a program needs to find the daemon.
  [[nodiscard]] std::vector<std::string> environment() const;

  TemporaryFolder folder;

 private:
  ChildProcess bus;
  std::optional<ChildProcess> daemon;
  std::optional<ChildProcess> sessionManager;
};

}  // namespace quorvex::test
