// Lets the tests run side by side, though every run of the host writes to one file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include "log/HostLog.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

/// Puts an empty file in the log's place, for this program and those that it starts. Where that is
/// not allowed, one such program waits for the other.
class OwnLog : public ::testing::Environment {
 public:
  void SetUp() override {
    const std::string path = hostLogPath(), own = folder / "log";
    log = ::open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(log, 0) << path;
    ASSERT_GE(::close(::open(own.c_str(), O_WRONLY | O_CREAT, 0600)), 0);
    const bool hidden = ::unshare(CLONE_NEWNS) == 0 &&
                        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                        ::mount(own.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
    EXPECT_TRUE(hidden || ::flock(log, LOCK_EX) == 0);
  }
  void TearDown() override { ::close(log); }

 private:
  TemporaryFolder folder;
  int log = -1;
};

[[maybe_unused]] const auto* const ownLog = ::testing::AddGlobalTestEnvironment(new OwnLog);

}  // namespace
}  // namespace quorvex::test
