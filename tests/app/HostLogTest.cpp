#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <thread>

#include "fakes/LogFile.h"
#include "log/HostLog.h"

namespace quorvex {
namespace {

TEST(HostLog, writesWholeLinesOfSeveralThreadsAndProcesses) {
  LogFile log;
  ::unlink(log.path.c_str());
  const pid_t other = ::fork();
  if (other == 0) {
    for (int i = 0; i < 500; ++i) hostLog("child → " + std::string(200, 'c'));
    ::_exit(0);
  }
  std::thread second([] {
    for (int i = 0; i < 500; ++i) hostLog("thread — " + std::string(300, 't'));
  });
  for (int i = 0; i < 500; ++i) hostLog("main");
  second.join();
  ::waitpid(other, nullptr, 0);
  std::ifstream file(log.path);
  const std::regex form(R"(\d{10}\.?\d{0,7} \[QXC-host\] (main|child → c{200}|thread — t{300}))");
  int lines = 0;
  for (std::string line; std::getline(file, line); ++lines)
    ASSERT_TRUE(std::regex_match(line, form)) << line;
  EXPECT_EQ(lines, 1500);
  struct stat status {};
  ASSERT_EQ(::stat(log.path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(HostLog, dropsItsLinesWhereItCannotWrite) {
  LogFile log;
  ::unlink(log.path.c_str());
  ASSERT_EQ(::mkfifo(log.path.c_str(), 0600), 0);
  hostLog("a pipe that nobody reads must not hold the host up");
  setHostLogPath("/nonexistent/host.diag");
  hostLog("nor a missing folder");
}

}  // namespace
}  // namespace quorvex
