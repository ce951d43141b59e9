#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "linux/desktop/JournalSystemLog.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

constexpr const char* kJournal = "/lib/systemd/systemd-journald";

TEST(JournalSystemLog, keepsWhatARecordHoldsInTheRealJournalAndIsALineWhereNoneRuns) {
  if (::unshare(CLONE_NEWNS) != 0 ||
      ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", "/run", "tmpfs", 0, nullptr) != 0)
    GTEST_SKIP() << "mounting a /run of its own takes root: " << std::strerror(errno);
  JournalSystemLog log;
  testing::internal::CaptureStderr();
  log.write(SystemLog::Level::info, "host", "start failed\nerror host: forged");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "info host: start failed error host: forged\n");

  if (!std::filesystem::exists(kJournal)) GTEST_SKIP() << "the package systemd is not installed";
  if (std::filesystem::is_empty("/sys/fs/cgroup")) GTEST_SKIP() << "journald takes control groups";
  for (const char* made : {"/run/systemd/journal", "/run/log/journal"})
    std::filesystem::create_directories(made);
  const TemporaryFolder folder;
  ChildProcess journal({kJournal}, "systemd", folder / "journald.txt");
  ASSERT_TRUE(eventually([] { return std::filesystem::exists("/run/systemd/journal/socket"); }));
  log.write(SystemLog::Level::error, "frame-producer", "two\nlines=%n");
  nlohmann::json record;
  ASSERT_TRUE(eventually([&] {
    std::filesystem::remove(folder / "record");
    ChildProcess reader({"journalctl", "-o", "json", "-t", "quorvex-camera"}, "systemd",
                        folder / "record");
    (void)reader.exitCode();
    record = nlohmann::json::parse(contentOf(folder / "record"), nullptr, false);
    return record.is_object();
  }));
  EXPECT_EQ(record["PRIORITY"], "3");
  EXPECT_EQ(record["CATEGORY"], "frame-producer");
  EXPECT_EQ(record["MESSAGE"], "two\nlines=%n");
  EXPECT_EQ(record["SUBSYSTEM"], "com.tessaly.quorvexcamera");
}

}  // namespace
}  // namespace quorvex::test
