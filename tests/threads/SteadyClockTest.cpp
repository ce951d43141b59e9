#include <gtest/gtest.h>

#include <fstream>

#include "linux/threads/SteadyClock.h"

namespace quorvex {
namespace {

TEST(SteadyClock, tellsTheSecondsSinceTheMachineStarted) {
  double uptime = 0;
  std::ifstream("/proc/uptime") >> uptime;
  const SteadyClock clock;
  const double now = clock.now();
  EXPECT_NEAR(now, uptime, 5);
  EXPECT_LE(now, clock.now());
}

}  // namespace
}  // namespace quorvex
