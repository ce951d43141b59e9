#include "support/PrivatePipeWire.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/Eventually.h"

namespace quorvex::test {

PrivatePipeWire::PrivatePipeWire()
    : bus({"dbus-daemon", "--session", "--nofork", "--nopidfile",
           "--address=unix:path=" + (folder / "bus")},
          "dbus-daemon", folder / "bus.log") {
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(folder / "bus"); }));
  // A session manager that looks for the machine's logins ends at once where there are none.
  const std::string bluetooth = folder / "config/wireplumber/bluetooth.lua.d";
  std::filesystem::create_directories(bluetooth);
  std::ofstream(bluetooth + "/80-no-logind.lua")
      << "bluez_monitor.properties[\"with-logind\"] = false\n";
  startDaemon();
}

std::vector<std::string> PrivatePipeWire::environment() const {
  return {"XDG_RUNTIME_DIR=" + (folder / ""), "XDG_STATE_HOME=" + (folder / "state"),
          "XDG_CONFIG_HOME=" + (folder / "config"), "PIPEWIRE_RUNTIME_DIR=" + (folder / ""),
          "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder / "bus")};
}

void PrivatePipeWire::startDaemon() {
  killDaemon();
  std::filesystem::remove(remote());
  daemon.emplace(std::vector<std::string>{"pipewire"}, "pipewire", folder / "pipewire.log",
                 environment());
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(remote()); }))
      << "pipewire does not start";
  sessionManager.emplace(std::vector<std::string>{"wireplumber"}, "wireplumber",
                         folder / "wireplumber.log", environment());
}

void PrivatePipeWire::killDaemon() {
  sessionManager.reset();
  daemon.reset();
}

}  // namespace quorvex::test
