// Signing in, through a browser's part in it: the service's page, its redirect, the host's
// listener.
#include <gmock/gmock.h>

#include <future>

#include "e2e/SteeredHost.h"

namespace quorvex::test {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

class AccountTest : public SteeredHost {
 protected:
  /// The URL of a Location header, or of a form's hidden field.
  static std::string between(const std::string& text, const std::string& before,
                             const std::string& after) {
    const auto start = text.find(before);
    if (start == std::string::npos) return "nothing behind " + before;
    const auto from = start + before.size();
    return text.substr(from, text.find(after, from) - from);
  }
  static std::pair<std::uint16_t, std::string> placeOf(const std::string& url) {
    const auto colon = url.find(':', 7), slash = url.find('/', 7);
    return {static_cast<std::uint16_t>(std::stoi(url.substr(colon + 1, slash))), url.substr(slash)};
  }
  static std::string fetch(const std::string& url, const std::string& form = "") {
    const auto [port, path] = placeOf(url);
    const std::string head =
        (form.empty() ? "GET " : "POST ") + path +
        " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
        "\r\nConnection: close\r\nOrigin: http://127.0.0.1:" + std::to_string(port) + "\r\n";
    if (form.empty()) return sendRaw(port, head + "\r\n");
    return sendRaw(port, head +
                             "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                             std::to_string(form.size()) + "\r\n\r\n" + form);
  }
  /// What a person does in the browser; the page that they see last.
  std::string browse(const std::string& decision) {
    if (!comes([&] { return !workspace.opened.empty(); })) return "no browser was opened";
    const std::string url = workspace.opened.back();
    auto page = std::async(std::launch::async, [url, decision] {
      const std::string form = fetch(url);
      const std::string ticket = between(form, "name=\"ticket\" value=\"", "\"");
      const std::string answer =
          fetch(url.substr(0, url.find('?')), "ticket=" + ticket + "&decision=" + decision);
      return fetch(between(answer, "Location: ", "\r\n"));
    });
    EXPECT_TRUE(
        comes([&] { return page.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return page.get();
  }
  [[nodiscard]] std::string refreshToken() { return keyStore.items.begin()->second; }
};

TEST_F(AccountTest, carriesTheSessionAndSurvivesItsRevocation) {
  auto& model = host->appModel();
  model.onSignIn();
  EXPECT_EQ(model.statusText.get(), "Signing in — finish in your browser…");
  EXPECT_TRUE(model.isSigningIn);
  EXPECT_THAT(browse("allow"), HasSubstr("<h2>Signed in to Quorvex Camera</h2>"));
  ASSERT_TRUE(comes([&] { return log.text().find("signed in — re-mint") != std::string::npos; }));
  mainQueue.advance(2);
  ASSERT_TRUE(shows(kLive));
  EXPECT_TRUE(model.isSignedIn);
  EXPECT_EQ(service.state()["account"]["signed_in_clients"], 1);
  EXPECT_THAT(log.text(), HasSubstr("signaling: using authed token brand=quorvex"));

  const std::string first = refreshToken();
  auth->invalidateAccessToken();
  reconnect();
  ASSERT_TRUE(shows(kLive));
  EXPECT_NE(refreshToken(), first) << "refresh tokens rotate";

  (void)service.control("accounts", {{"revoke", true}});
  auth->invalidateAccessToken();
  reconnect();
  ASSERT_TRUE(shows(kLive));
  EXPECT_FALSE(model.isSignedIn) << "back to the device's session";
  EXPECT_TRUE(keyStore.items.empty());
  EXPECT_EQ(service.state()["account"]["signed_in_clients"], 0);
  for (const std::string& secret : {first, between(workspace.opened[0], "state=", "&"),
                                    between(workspace.opened[0], "challenge=", "&")})
    EXPECT_THAT(log.text(), Not(HasSubstr(secret)));
}

TEST_F(AccountTest, endsWithoutAnAccountWhenDenied) {
  host->appModel().onSignIn();
  (void)browse("deny");
  EXPECT_TRUE(shows("Sign-in failed — try again"));
  EXPECT_THAT(log.text(), HasSubstr("menu: sign-in failed: no authorization code in the redirect"));
  EXPECT_FALSE(host->appModel().isSignedIn);
}

}  // namespace
}  // namespace quorvex::test
