// The program as a person starts it, on an X display and a session bus of the test's own.
#include <gmock/gmock.h>

#include <regex>

#include "e2e/HostRun.h"
#include "support/ServiceRun.h"
#include "support/SessionBus.h"

namespace quorvex::test {
namespace {

using namespace testing;

constexpr const char* kQuitting = "lifecycle: quitting — disconnecting cleanly";

class DesktopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string printed;  // of displays that are taken, and at last which it is
    std::smatch number;
    ASSERT_TRUE(eventually([&] {
      printed = contentOf(folder / "display");
      return std::regex_search(printed, number, std::regex("([0-9]+)\n$"));
    }));
    environment.push_back("DISPLAY=:" + number[1].str());
  }
  [[nodiscard]] std::vector<std::string> options() const {
    auto all = service.hostOptions();
    std::erase(all, "--headless");
    return all;
  }
  /// Whether xdotool does that.
  bool xdotool(std::vector<std::string> words) const {
    words.insert(words.begin(), "xdotool");
    return ChildProcess(words, "xdotool", "/dev/null", environment).exitCode() == 0;
  }
  /// Whether a window with this title is to be seen; presses a key in it if so.
  bool shows(const std::string& title, const std::string& key = "") const {
    std::vector<std::string> words{"search", "--onlyvisible", "--name", "^" + title + "$"};
    if (!key.empty()) words.insert(words.end(), {"windowfocus", "--sync", "key", key});
    return xdotool(words);
  }

  TemporaryFolder folder;
  ChildProcess display{
      {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24"}, "xvfb", folder / "display"};
  SessionBus bus{folder};
  ServiceRun service;
  std::vector<std::string> environment{"QT_QPA_PLATFORM=xcb",
                                       "DBUS_SESSION_BUS_ADDRESS=" + bus.address};
};

TEST_F(DesktopTest, showsItsWindowOnceComesForwardAndQuitsThroughTheAlert) {
  HostRun host(options(), environment);
  host.shows("Live ✓");
  ASSERT_TRUE(eventually([&] { return shows("Quorvex", "Return"); })) << "no consent";

  HostRun second(options(), environment);
  EXPECT_EQ(second.process->exitCode(), 0);
  EXPECT_THAT(second.printed(), HasSubstr("Quorvex Camera runs already"));

  const std::string alert = "Quit Quorvex Camera\\?";
  for (const char* answer : {"Escape", "Return"}) {
    EXPECT_THAT(host.log(), Not(Contains(kQuitting)));
    // As often as it takes a window to have the keyboard.
    ASSERT_TRUE(eventually([&] {
      return shows("Quorvex", "ctrl+q") &&
             eventually([&] { return shows(alert); }, std::chrono::seconds(1));
    }));
    EXPECT_TRUE(eventually([&] { return !shows(alert, answer); })) << alert << " stays";
  }
  EXPECT_EQ(host.process->exitCode(), 0);
  host.logs(kQuitting);
}

TEST_F(DesktopTest, saysSoWhereThereIsNoDisplay) {
  for (const auto& [setting, problem] :
       {std::pair{"DISPLAY=", "there is no display; run with --headless"},
        {"DISPLAY=:999", "the window cannot be shown; run with --headless"}}) {
    HostRun host(options(), {setting, "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM="});
    EXPECT_EQ(host.process->exitCode(), 2);
    EXPECT_THAT(host.printed(), HasSubstr(problem));
  }
}

}  // namespace
}  // namespace quorvex::test
