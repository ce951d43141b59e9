#pragma once

#include <optional>

#include "support/SessionBus.h"

namespace quorvex::test {

/// A PipeWire daemon with its session manager and message bus, apart from those of the machine.
class PrivatePipeWire {
 public:
  PrivatePipeWire() {
    // A session manager that looks for the machine's logins ends at once where there are none.
    const std::string bluetooth = folder / "config/wireplumber/bluetooth.lua.d";
    std::filesystem::create_directories(bluetooth);
    std::ofstream(bluetooth + "/80-no-logind.lua")
        << "bluez_monitor.properties[\"with-logind\"] = false\n";
    startDaemon();
  }

  void startDaemon() {
    killDaemon();
    std::filesystem::remove(remote());
    daemon.emplace(std::vector<std::string>{"pipewire"}, "pipewire", folder / "pipewire.log",
                   environment());
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(remote()); }))
        << "pipewire does not start";
    sessionManager.emplace(std::vector<std::string>{"wireplumber"}, "wireplumber",
                           folder / "wireplumber.log", environment());
  }
  /// Kills the daemon and the session manager with signal 9.
  void killDaemon() {
    sessionManager.reset();
    daemon.reset();
  }

  /// The daemon's socket.
  [[nodiscard]] std::string remote() const { return folder / "pipewire-0"; }
  /// What a program needs to find the daemon.
  [[nodiscard]] std::vector<std::string> environment() const {
    return {"XDG_RUNTIME_DIR=" + (folder / ""), "XDG_STATE_HOME=" + (folder / "state"),
            "XDG_CONFIG_HOME=" + (folder / "config"), "PIPEWIRE_RUNTIME_DIR=" + (folder / ""),
            "DBUS_SESSION_BUS_ADDRESS=" + bus.address};
  }

  TemporaryFolder folder;

 private:
  SessionBus bus{folder};
  std::optional<ChildProcess> daemon, sessionManager;
};

}  // namespace quorvex::test
