#include <gtest/gtest.h>

#include <fstream>

#include "linux/threads/StderrSystemLog.h"
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

TEST(StderrSystemLog, writesOneLineARecordWhateverTheMessageHolds) {
  StderrSystemLog log;
  testing::internal::CaptureStderr();
  log.write(SystemLog::Level::info, "host", "activation requested");
  log.write(SystemLog::Level::error, "frame-producer", "start failed\nerror host: forged");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "info host: activation requested\n"
            "error frame-producer: start failed error host: forged\n");
}

}  // namespace
}  // namespace quorvex
