#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

/// A message bus of a test's own, which listens in the test's folder once this is made.
class SessionBus {
 public:
  explicit SessionBus(const TemporaryFolder& folder,
                      const std::vector<std::string>& environment = {})
      : address("unix:path=" + (folder / "bus")),
        daemon({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address},
               "dbus-daemon", folder / "bus.txt", environment) {
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(folder / "bus"); }));
  }

  const std::string address;

 private:
  ChildProcess daemon;
};

}  // namespace quorvex::test
