// Signing in as a person does: the real program, its key store and a browser that shows the pages.
#include <gmock/gmock.h>

#include <filesystem>
#include <regex>

#include "e2e/HostRun.h"
#include "support/ServiceRun.h"
#include "support/SessionBus.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using namespace testing;

constexpr const char* kAuthed = "signaling: using authed token brand=quorvex";
constexpr const char* kLastPage =
    "Signed in to Quorvex Camera\n\nYou can close this tab and return to the app.";
/// How every access token begins.
constexpr const char* kAccessToken = "eyJicmFuZF9pZCI6";
/// The form of all that is secret: challenge, state, code, verifier and what signs a token.
const std::regex kSecret("[A-Za-z0-9_-]{43,}");

/// A desktop with nobody else on it: message bus, unlocked key store, and the test as its browser.
class BrowserTest : public ::testing::Test {
 protected:
  BrowserTest() {
    std::filesystem::create_directories(folder / "data/applications");
    std::ofstream(folder / "data/applications/mimeapps.list")
        << "[Default Applications]\nx-scheme-handler/http=person.desktop\n";
    std::ofstream(folder / "data/applications/person.desktop")
        << "[Desktop Entry]\nType=Application\nName=Person\nExec=sh " << folder / "person.sh %u\n";
    std::ofstream(folder / "person.sh") << "echo \"$1\" > " << folder / "url\n";
    std::ofstream(folder / "password") << "x";
    keyring.emplace(std::vector<std::string>{"sh", "-c",
                                             "exec gnome-keyring-daemon --foreground --unlock "
                                             "--components=secrets < " +
                                                 (folder / "password")},
                    "dash", folder / "keyring.txt", environment);
    EXPECT_TRUE(eventually([&] {
      ChildProcess owner(
          {"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/",
           "org.freedesktop.DBus.GetNameOwner", "string:org.freedesktop.secrets"},
          "dbus", folder / "owner.txt", environment);
      return owner.exitCode() == 0 &&
             std::filesystem::exists(folder / "data/keyrings/login.keyring");
    })) << "gnome-keyring is not installed, or does not start";
  }
  void TearDown() override {
    if (driver) (void)request(driverPort, "DELETE", session);
  }
  void openBrowser() {
    std::string said;
    driver.emplace(std::vector<std::string>{"chromedriver", "--port=0"}, "chromium-driver",
                   folder / "driver.txt", environment);
    ASSERT_TRUE(eventually([&] {
      said = contentOf(folder / "driver.txt");
      return said.find("successfully") != std::string::npos && said.ends_with(".\n");
    }));
    driverPort = static_cast<std::uint16_t>(std::stoi(said.substr(said.rfind(' '))));
    // By the pipe the browser notices its driver's end, should the test be killed.
    const json options = {{"args", {"--headless", "--no-sandbox", "--remote-debugging-pipe"}}};
    const json wanted = {{"alwaysMatch", {{"goog:chromeOptions", options}}}};
    session += "/" + drive("", {{"capabilities", wanted}})["sessionId"].get<std::string>();
  }
  json drive(const std::string& command, const json& body) const {
    const Headers headers{{"Content-Type", "application/json"}};
    return request(driverPort, "POST", session + command, headers, body.dump()).body.at("value");
  }
  json evaluated(const std::string& script) const {
    return drive("/execute/sync", {{"script", "return " + script}, {"args", json::array()}});
  }

  [[nodiscard]] HostRun run(const std::vector<std::string>& words = {}) const {
    return HostRun(service.hostOptions(words), environment);
  }
  /// What the program's neighbours can see of it while it runs.
  void look(const HostRun& host) {
    for (const char* file : {"/cmdline", "/environ"})
      seen += contentOf("/proc/" + std::to_string(host.process->id()) + file);
  }
  /// Its exit code; what it has left behind is looked at.
  int end(HostRun& host) {
    const int code = host.process->exitCode().value_or(-1);
    printed += host.printed() + contentOf(host.folder / "report.json") + contentOf(host.logFile());
    return code;
  }
  /// Signs in, pressing that button; the exit code.
  int signIn(const std::string& button) {
    HostRun host = run({"account", "sign-in"});
    std::string url;
    EXPECT_TRUE(eventually([&] { return (url = contentOf(folder / "url")).ends_with('\n'); }));
    std::filesystem::remove(folder / "url");
    look(host);
    drive("/url", {{"url", url}});
    const json found =
        drive("/element", {{"using", "css selector"}, {"value", "[value=" + button + "]"}});
    drive("/element/" + found.begin()->get<std::string>() + "/click", json::object());
    EXPECT_TRUE(eventually([&] { return evaluated("document.body.innerText") == kLastPage; }));
    const std::string last = evaluated("location.href");
    for (const std::string& address : {url, last})
      for (std::sregex_iterator it(address.begin(), address.end(), kSecret), none; it != none; ++it)
        secrets.push_back(it->str());
    return end(host);
  }
  /// The refresh token in the key store; empty when there is none.
  std::string kept() {
    std::filesystem::remove(folder / "kept");
    ChildProcess reader(
        {"secret-tool", "lookup", "account", "com.tessaly.quorvexcamera.refreshToken"},
        "libsecret-tools", folder / "kept", environment);
    (void)reader.exitCode();
    if (!contentOf(folder / "kept").empty()) secrets.push_back(contentOf(folder / "kept"));
    return contentOf(folder / "kept");
  }

  TemporaryFolder folder;
  ServiceRun service{{"--log"}};
  const std::vector<std::string> environment{
      "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder / "bus"),
      "XDG_DATA_HOME=" + (folder / "data"), "XDG_RUNTIME_DIR=" + (folder / ""),
      "HOME=" + (folder / ""), "TMPDIR=" + (folder / "")};
  SessionBus bus{folder, environment};
  std::optional<ChildProcess> keyring, driver;
  std::uint16_t driverPort = 0;
  std::string session = "/session";
  std::string seen, printed;
  std::vector<std::string> secrets{kAccessToken};
};

TEST_F(BrowserTest, keepsTheAccountAcrossLaunchesAndItsSecretsToItself) {
  openBrowser();
  EXPECT_EQ(signIn("deny"), 1);
  EXPECT_EQ(signIn("allow"), 0);
  for (const bool revoked : {false, true}) {
    const std::string before = kept();
    HostRun host = run();
    const std::size_t live = host.shows(kLive);
    look(host);
    EXPECT_THAT(host.log(), Contains(kAuthed));
    EXPECT_NE(kept(), before) << "refresh tokens rotate";
    if (revoked) {
      service.control("accounts", {{"revoke", true}});
      service.control("socket", {{"abort", true}});
      host.shows(kLive, host.shows("Reconnecting…", live));
      EXPECT_THAT(host.log(), Contains("signaling: minted token type=device brand=quorvex"));
      EXPECT_EQ(kept(), "");
    }
    host.process->signal(SIGINT);
    EXPECT_EQ(end(host), 0);
  }
  EXPECT_EQ(signIn("allow"), 0);
  EXPECT_NE(kept(), "");
  HostRun signOut = run({"account", "sign-out"});
  EXPECT_EQ(end(signOut), 0);
  EXPECT_EQ(kept(), "");

  printed += service.printed();
  for (const char* part : {"Sign-in failed", "Signed in ✓", kLive, kAuthed, "mainThreadStallMs",
                           "POST /api/native/refresh 401"})
    EXPECT_THAT(printed, HasSubstr(part)) << "or it was not looked at";
  EXPECT_THAT(seen, AllOf(HasSubstr("--web-base"), HasSubstr("TMPDIR=")));
  EXPECT_EQ(secrets.size(), 17u) << "or some were not found";
  for (const auto& secret : secrets) EXPECT_THAT(seen + printed, Not(HasSubstr(secret)));
  std::smatch found;
  EXPECT_FALSE(std::regex_search(printed, found, kSecret)) << found.str();
}

TEST_F(BrowserTest, isLaunchedBesideAKeyStoreThatHangs) {
  keyring->signal(SIGSTOP);
  HostRun host = run();
  host.shows(kLive);
  EXPECT_LT(host.interrupted()["mainThreadStallMs"], 50);
}

}  // namespace
}  // namespace quorvex::test
