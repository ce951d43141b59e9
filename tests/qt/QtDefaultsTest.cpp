#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
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
  void put(const std::string& content) const {
    fs::create_directories(folder / "profile");
    std::ofstream(path, std::ios::binary) << content;
  }

  const test::TemporaryFolder folder;
  const std::string path = folder / "profile/settings.json";
  std::string logged;
};

TEST_F(QtDefaultsTest, keepsEveryTextAndFlagThatManyThreadsSetForTheNextRun) {
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  const std::string texts[] = {
      "",        "Ännä — 😀 \u2028",        "a\nb\r\n\t\"quoted\\\", a=b;c,d %20", "@ByteArray(x)",
      everyByte, std::string(2 << 20, 'Q')};
  const auto key = [&](const std::string& text) {
    return "rc.text." + std::to_string(&text - texts);
  };
  {
    auto defaults = open();
    std::vector<std::jthread> threads;
    for (const auto& text : texts)
      threads.emplace_back([&] {
        for (int i = 0; i < 10; ++i) defaults.setString(key(text), text);
        EXPECT_EQ(defaults.string(key(text)), text);
      });
    threads.clear();
    defaults.setBoolean("rc.enhance", true);
    defaults.setString("rc.faces.active", "gone");
    defaults.remove("rc.faces.active");
  }
  const auto defaults = open();
  for (const auto& text : texts) EXPECT_EQ(defaults.string(key(text)), text);
  EXPECT_TRUE(defaults.boolean("rc.enhance"));
  EXPECT_FALSE(defaults.boolean("rc.text.1")) << "a text is no flag";
  EXPECT_EQ(defaults.string("rc.enhance"), std::nullopt) << "a flag is no text";
  EXPECT_EQ(defaults.string("rc.faces.active"), std::nullopt);
  EXPECT_EQ(logged, "");
}

TEST_F(QtDefaultsTest, keepsADamagedFileAsideAndItsOwnFromOtherUsers) {
  for (const std::string content : {"", "{\"rc.enhance\": tr", "[1]", "\xff\xfe garbage"}) {
    put(content);
    fs::permissions(path, fs::perms(0644));
    logged.clear();
    auto defaults = open();
    EXPECT_EQ(defaults.string("rc.device"), std::nullopt);
    EXPECT_THAT(logged, HasSubstr("the old file is kept as " + path + ".damaged"));
    EXPECT_EQ(test::contentOf(path + ".damaged"), content);
    put("{}");
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

/// Whatever the moment, a later run finds a whole state.
TEST_F(QtDefaultsTest, survivesAKillAtAnyMoment) {
  constexpr const char* kLibrary = "rc.faces.v1";
  const auto text = [](long count) { return std::to_string(count) + std::string(300'000, 'x'); };
  const auto written = [this] {
    std::error_code none;
    return fs::last_write_time(path, none);
  };
  long last = 0;
  for (int round = 0; round < 60; ++round) {
    const auto before = written();
    const pid_t writer = ::fork();
    if (writer == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (auto defaults = open();; ++last) defaults.setString(kLibrary, text(last + 1));
    }
    while (written() == before) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds{487 * round});
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);

    auto defaults = open();
    const auto found = defaults.string(kLibrary).value_or("");
    EXPECT_GT(std::atol(found.c_str()), last);
    last = std::atol(found.c_str());
    EXPECT_TRUE(found == text(last)) << "it is torn";
    defaults.setBoolean("rc.enhance", round % 2 == 0);
    EXPECT_EQ(logged, "");
  }
}

}  // namespace
}  // namespace quorvex
