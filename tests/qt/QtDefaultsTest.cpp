#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    std::ifstream aside(path + ".damaged", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), content);
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

/// So that whenever the program is killed, the next run finds a whole state.
TEST_F(QtDefaultsTest, neverWritesIntoTheFileThatIsThere) {
  put(R"({"rc.device":"old"})");
  fs::create_hard_link(path, folder / "before");
  auto defaults = open();
  defaults.setString("rc.device", "new");
  EXPECT_EQ(open().string("rc.device"), "new");
  EXPECT_EQ(QtDefaults(folder / "before", {}).string("rc.device"), "old");
}

}  // namespace
}  // namespace quorvex
