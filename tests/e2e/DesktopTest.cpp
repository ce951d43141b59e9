// The program as a person starts it, on an X display and a session bus of the test's own.
#include <gmock/gmock.h>

#include <filesystem>

#include "e2e/ServiceRun.h"

namespace quorvex::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kQuitting = "lifecycle: quitting — disconnecting cleanly";

class DesktopTest : public ::testing::Test {
 protected:
  DesktopTest() {
    EXPECT_TRUE(eventually([&] {
      return contentOf(folder / "display").ends_with('\n') &&
             contentOf(folder / "bus").ends_with('\n');
    }));
    environment = {"DISPLAY=:" + firstLine("display"),
                   "DBUS_SESSION_BUS_ADDRESS=" + firstLine("bus"), "QT_QPA_PLATFORM=xcb"};
  }
  [[nodiscard]] std::string firstLine(const std::string& name) const {
    const std::string content = contentOf(folder / name);
    return content.substr(0, content.find('\n'));
  }
  [[nodiscard]] std::vector<std::string> options() const {
    auto all = service.hostOptions();
    std::erase(all, "--headless");
    return all;
  }
  /// What xdotool prints; empty when it fails.
  std::string xdotool(std::vector<std::string> words) const {
    words.insert(words.begin(), "xdotool");
    std::filesystem::remove(folder / "printed");
    ChildProcess tool(words, "xdotool", folder / "printed", environment);
    return tool.exitCode() == 0 ? firstLine("printed") : "";
  }
  /// The id of the window with this title, once it shows.
  std::string window(const std::string& title) const {
    std::string id;
    EXPECT_TRUE(eventually([&] {
      id = xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"});
      return !id.empty();
    })) << "no window "
        << title;
    return id;
  }
  void press(const std::string& id, const std::string& key) const {
    (void)xdotool({"windowfocus", "--sync", id, "key", key});
  }
  /// Presses the key, as often as it takes a new window to have the keyboard, until it is gone.
  void dismiss(const std::string& title, const std::string& key) const {
    const std::string id = window(title);
    EXPECT_TRUE(eventually([&] {
      press(id, key);
      return xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"}).empty();
    })) << title
        << " stays";
  }

  TemporaryFolder folder;
  ChildProcess display{
      {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24"}, "xvfb", folder / "display"};
  ChildProcess bus{
      {"dbus-daemon", "--session", "--nofork", "--print-address"}, "dbus", folder / "bus"};
  ServiceRun service;
  std::vector<std::string> environment;
};

TEST_F(DesktopTest, showsItsWindowOnceComesForwardAndQuitsThroughTheAlert) {
  HostRun host(options(), environment);
  host.shows("Live ✓");
  const std::string main = window("Quorvex");
  press(main, "Return");  // to the consent

  HostRun second(options(), environment);
  EXPECT_EQ(second.process->exitCode(), 0);
  EXPECT_THAT(second.printed(), HasSubstr("Quorvex Camera runs already"));

  for (const char* answer : {"Escape", "Return"}) {
    EXPECT_THAT(host.log(), Not(Contains(kQuitting)));
    press(main, "ctrl+q");
    dismiss("Quit Quorvex Camera\\?", answer);
  }
  EXPECT_EQ(host.process->exitCode(), 0);
  EXPECT_THAT(host.log(), Contains(kQuitting));
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
