#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "linux/qt/QtDefaults.h"
#include "qt/DefaultsWriter.h"

extern char** environ;

namespace quorvex {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const char* kLibrary = "rc.faces.v1";

class QtDefaultsTest : public testing::Test {
 protected:
  QtDefaultsTest() {
    char name[] = "/tmp/quorvex-defaults-XXXXXX";
    folder = mkdtemp(name);
    path = folder / "profile" / "settings.json";
  }
  ~QtDefaultsTest() override { fs::remove_all(folder); }

  QtDefaults open() {
    return {path.string(), [this](const std::string& line) { logged += line + "\n"; }};
  }

  void put(const std::string& content) const {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  fs::path folder;
  fs::path path;
  std::string logged;
};

TEST_F(QtDefaultsTest, keepsEveryTextAndFlagAcrossRuns) {
  std::string everyByte;
  for (int i = 0; i < 256; ++i) everyByte += static_cast<char>(i);
  const std::string texts[] = {"",
                               "plain",
                               "Ännä — 😀 \u2028",
                               "a\nb\r\n\tc",
                               "\"quoted\\\", a=b;c,d %20",
                               "@ByteArray(x)",
                               everyByte,
                               std::string(2 << 20, 'Q'),
                               std::string("nul\0inside", 10)};
  {
    auto defaults = open();
    for (std::size_t i = 0; i < std::size(texts); ++i) {
      defaults.setString("rc.text." + std::to_string(i), texts[i]);
    }
    defaults.setBoolean("rc.enhance", true);
    defaults.setBoolean("rc.consent.v1", false);
    defaults.setString("rc.faces.active", "gone");
    defaults.remove("rc.faces.active");
  }
  const auto defaults = open();
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(defaults.string("rc.text." + std::to_string(i)), texts[i]);
  }
  EXPECT_TRUE(defaults.boolean("rc.enhance"));
  EXPECT_FALSE(defaults.boolean("rc.consent.v1"));
  EXPECT_FALSE(defaults.boolean("rc.text.1")) << "a text is no flag";
  EXPECT_EQ(defaults.string("rc.enhance"), std::nullopt) << "a flag is no text";
  EXPECT_EQ(defaults.string("rc.faces.active"), std::nullopt);
  EXPECT_EQ(logged, "");
}

TEST_F(QtDefaultsTest, isReadableByItsOwnerOnly) {
  put("{}");
  fs::permissions(path, fs::perms(0644));
  open().setString("rc.device", "id");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
}

TEST_F(QtDefaultsTest, keepsADamagedFileAsideAndStartsEmpty) {
  for (const std::string content : {"", "{\"rc.enhance\": tr", "[1]", "\xff\xfe\0garbage"}) {
    put(content);
    logged.clear();
    auto defaults = open();
    EXPECT_EQ(defaults.string("rc.device"), std::nullopt);
    EXPECT_THAT(logged, HasSubstr("the old file is kept as " + path.string() + ".damaged"));
    std::ifstream aside(path.string() + ".damaged", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), content);
    defaults.setString("rc.device", "new");
    EXPECT_EQ(open().string("rc.device"), "new");
  }
}

TEST_F(QtDefaultsTest, saysWhatCannotBeWrittenAndKeepsTheValueForTheRun) {
  std::ofstream(path.parent_path()) << "a file where the folder should be";
  auto defaults = open();
  defaults.setString("rc.device", "secret");
  EXPECT_THAT(logged, HasSubstr("cannot write " + path.string()));
  EXPECT_THAT(logged, testing::Not(HasSubstr("secret")));
  EXPECT_EQ(defaults.string("rc.device"), "secret");
}

TEST_F(QtDefaultsTest, takesCallsFromManyThreads) {
  auto defaults = open();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&defaults, t] {
      for (int i = 0; i < 20; ++i) {
        defaults.setString("key" + std::to_string(t), std::to_string(i));
        EXPECT_EQ(defaults.string("key" + std::to_string(t)), std::to_string(i));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(open().string("key3"), "19");
}

/// Whatever the moment, a later run finds a whole state, and finds it at once.
TEST_F(QtDefaultsTest, survivesAKillAtAnyMoment) {
  std::string program = fs::read_symlink("/proc/self/exe");
  std::string option = test::kWriteDefaults;
  std::string file = path.string();
  char* arguments[] = {program.data(), option.data(), file.data(), nullptr};
  const auto written = [this] {
    std::error_code none;
    return fs::last_write_time(path, none);
  };
  long last = 0;
  for (int round = 0; round < 60; ++round) {
    const auto before = written();
    pid_t writer = 0;
    ASSERT_EQ(posix_spawn(&writer, program.c_str(), nullptr, nullptr, arguments, environ), 0);
    while (written() == before) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds{487 * round});
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);

    auto defaults = open();
    const auto text = defaults.string(kLibrary).value_or("");
    const long count = std::atol(text.c_str());
    EXPECT_GE(count, last);
    EXPECT_EQ(text, std::to_string(count) + std::string(300'000, 'x'));
    last = count;
    const auto begin = std::chrono::steady_clock::now();
    defaults.setBoolean("rc.enhance", round % 2 == 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
    EXPECT_EQ(logged, "");
  }
  EXPECT_GT(last, 0) << "the writer never wrote";
}

}  // namespace

void test::writeDefaultsForever(const char* path) {
  QtDefaults defaults(path, [](const std::string&) {});
  const long begun = std::atol(defaults.string(kLibrary).value_or("0").c_str());
  for (long count = begun + 1;; ++count) {
    defaults.setString(kLibrary, std::to_string(count) + std::string(300'000, 'x'));
  }
}

}  // namespace quorvex
