#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "linux/qt/QtDefaults.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

class QtDefaultsTest : public testing::Test {
 protected:
  QtDefaults open() {
    return {path, [this](const std::string& line) { logged += line + "\n"; }};
  }
  const test::TemporaryFolder folder;
  const std::string path = folder / "profile/settings.json";
  std::string logged;
};

TEST_F(QtDefaultsTest, keepsEveryTextAndFlagThatManyThreadsSetForTheNextRun) {
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  const std::map<std::string, std::string> texts{
      {"rc.a", "Ännä — 😀 \u2028\r\n\t\"quoted\\\""}, {"rc.b", everyByte}, {"rc.c", ""}};
  {
    auto defaults = open();
    std::vector<std::jthread> threads;
    for (const auto& text : texts)
      threads.emplace_back([&] {
        for (int i = 0; i < 10; ++i) defaults.setString(text.first, text.second);
      });
    threads.clear();
    defaults.setBoolean("rc.enhance", true);
    defaults.setString("rc.faces.active", "gone");
    defaults.remove("rc.faces.active");
  }
  const auto defaults = open();
  for (const auto& [key, text] : texts) EXPECT_EQ(defaults.string(key), text);
  EXPECT_TRUE(defaults.boolean("rc.enhance"));
  EXPECT_FALSE(defaults.boolean("rc.a")) << "a text is no flag";
  EXPECT_EQ(defaults.string("rc.enhance"), std::nullopt) << "a flag is no text";
  EXPECT_EQ(defaults.string("rc.faces.active"), std::nullopt);
  EXPECT_EQ(logged, "");
}

TEST_F(QtDefaultsTest, keepsADamagedFileAsideAndItsOwnFromOtherUsers) {
  fs::create_directories(folder / "profile");
  for (const std::string content : {"{\"rc.enhance\": tr", "[1]"}) {
    std::ofstream(path) << content;
    fs::permissions(path, fs::perms(0644));
    logged.clear();
    auto defaults = open();
    EXPECT_EQ(defaults.string("rc.device"), std::nullopt);
    EXPECT_THAT(logged, HasSubstr("the old file is kept as " + path + ".damaged"));
    EXPECT_EQ(test::contentOf(path + ".damaged"), content);
    std::ofstream(path) << "{}";
    defaults.setString("rc.device", "new");
    EXPECT_EQ(open().string("rc.device"), "new");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
  }
}

TEST_F(QtDefaultsTest, saysWhatCannotBeWrittenAndKeepsTheValueForTheRun) {
  std::ofstream(folder / "profile") << "a file where the folder should be";
  auto defaults = open();
  defaults.setString("rc.device", "secret");
  EXPECT_THAT(logged, HasSubstr("cannot write " + path));
  EXPECT_THAT(logged, testing::Not(HasSubstr("secret")));
  EXPECT_EQ(defaults.string("rc.device"), "secret");
}

TEST_F(QtDefaultsTest, survivesAKillAtAnyMoment) {
  const auto text = [](long count) { return std::to_string(count) + std::string(300'000, 'x'); };
  const auto written = [this] {
    std::error_code none;
    return fs::last_write_time(path, none);
  };
  long last = 0;
  for (int round = 0; round < 12; ++round) {
    const auto before = written();
    const pid_t writer = ::fork();
    if (writer == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (auto defaults = open();; ++last) defaults.setString("rc.faces.v1", text(last + 1));
    }
    while (written() == before) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds{2435 * round});
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    const auto found = open().string("rc.faces.v1").value_or("");
    EXPECT_GT(std::atol(found.c_str()), last);
    last = std::atol(found.c_str());
    EXPECT_TRUE(found == text(last)) << "it is torn: " << logged;
  }
}

}  // namespace
}  // namespace quorvex
