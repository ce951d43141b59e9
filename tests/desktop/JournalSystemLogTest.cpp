#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "linux/desktop/JournalSystemLog.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

constexpr const char* kJournal = "/lib/systemd/systemd-journald";

/// A /run of this process's own, in which no journal runs yet.
class JournalSystemLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", "/run", "tmpfs", 0, nullptr) != 0)
      GTEST_SKIP() << "mounting a /run of its own takes root: " << std::strerror(errno);
  }

  const TemporaryFolder folder;
  JournalSystemLog log;
};

TEST_F(JournalSystemLogTest, keepsWhatARecordHoldsInTheRealJournal) {
  if (!std::filesystem::exists(kJournal)) GTEST_SKIP() << "the package systemd is not installed";
  for (const char* made : {"/run/systemd/journal", "/run/log/journal"})
    std::filesystem::create_directories(made);
  ChildProcess journal({kJournal}, "systemd", folder / "journald.txt");
  ASSERT_TRUE(eventually([] { return std::filesystem::exists("/run/systemd/journal/socket"); }));
  log.write(SystemLog::Level::info, "host", "100%s done");
  log.write(SystemLog::Level::error, "frame-producer", "two\nlines=%n");
  std::vector<nlohmann::json> records;
  ASSERT_TRUE(eventually([&] {
    records.clear();
    std::filesystem::remove(folder / "records");
    ChildProcess reader({"journalctl", "-o", "json", "-t", "quorvex-camera"}, "systemd",
                        folder / "records");
    (void)reader.exitCode();
    std::ifstream file(folder / "records");
    for (std::string line; std::getline(file, line);)
      records.push_back(nlohmann::json::parse(line, nullptr, false));
    return records.size() == 2;
  }));
  const char* expected[][3] = {{"6", "host", "100%s done"},
                               {"3", "frame-producer", "two\nlines=%n"}};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(records[i]["PRIORITY"], expected[i][0]);
    EXPECT_EQ(records[i]["CATEGORY"], expected[i][1]);
    EXPECT_EQ(records[i]["MESSAGE"], expected[i][2]);
    EXPECT_EQ(records[i]["SUBSYSTEM"], "com.tessaly.quorvexcamera");
  }
}

TEST_F(JournalSystemLogTest, writesOneLineARecordWhereNoJournalRuns) {
  testing::internal::CaptureStderr();
  log.write(SystemLog::Level::info, "host", "activation requested");
  log.write(SystemLog::Level::error, "frame-producer", "start failed\nerror host: forged");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "info host: activation requested\n"
            "error frame-producer: start failed error host: forged\n");
}

}  // namespace
}  // namespace quorvex::test
