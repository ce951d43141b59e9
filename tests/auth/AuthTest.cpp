#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "auth/AuthManager.h"
#include "auth/RedirectRequest.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeService.h"
#include "fakes/ManualQueue.h"
#include "support/Json.h"

namespace quorvex {
namespace {

using namespace testing;

constexpr const char* kAccount = "com.tessaly.quorvexcamera.refreshToken";
constexpr const char* kPair =
    R"({"access_token":"a1","refresh_token":"r1","user_uuid":"u1","expires_in":3600})";
constexpr const char* kToken = "api/native/token";
constexpr const char* kRefresh = "api/native/refresh";

class AuthTest : public SteeredTest {
 protected:
  static AuthManager::Dependencies on(AuthTest& test, HttpClient& http) {
    return {test.mainQueue, test.clock,     http,           test.keyStore,
            test.crypto,    test.listeners, test.workspace, "https://web.example"};
  }
  void signIn() {
    auth->signIn([this](const auto& failure) {
      outcomes.push_back(failure ? description(*failure) : "signed in");
    });
  }
  /// Signs in as far as the browser, which has been sent away with this state.
  std::string openBrowser() {
    signIn();
    listeners.last->handlers.ready();
    return parameter("state");
  }
  /// The value of `name` in the URL that the browser was sent to.
  std::string parameter(const std::string& name) {
    const std::string& url = workspace.opened.at(workspace.opened.size() - 1);
    const auto start = url.find(name + "=") + name.size() + 1;
    return url.substr(start, url.find('&', start) - start);
  }
  /// The browser comes back to this.
  std::shared_ptr<FakeConnection> comeBack(const std::string& target) {
    return listeners.last->connect("GET " + target + " HTTP/1.1\r\n\r\n");
  }
  void comeBackWithACode() { comeBack("/cb?code=c&state=" + parameter("state")); }
  /// A launch that finds this refresh token.
  void launchWith(const std::string& token) {
    keyStore.items[kAccount] = token;
    auth = std::make_shared<AuthManager>(on(*this, http));
  }
  void refresh() {
    auth->refreshTokens([this](const AuthManager::RefreshResult& result) {
      const auto* pair = std::get_if<NativeTokenPair>(&result);
      outcomes.push_back(pair ? pair->accessToken : description(std::get<AuthFailure>(result)));
    });
  }

  FakeHttp http;
  FakeKeyStore keyStore;
  FakeCrypto crypto;
  FakeListeners listeners;
  FakeWorkspace workspace;
  std::vector<std::string> outcomes;
  std::shared_ptr<AuthManager> auth = std::make_shared<AuthManager>(on(*this, http));
};

TEST_F(AuthTest, signsInThroughTheBrowser) {
  signIn();
  EXPECT_TRUE(workspace.opened.empty()) << "not before the listener is ready";
  listeners.last->handlers.ready();
  const std::string url = workspace.opened.at(0);
  EXPECT_EQ(url,
            "https://web.example/native/authorize?challenge="
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM&state=" +
                parameter("state") + "&redirect_uri=http://127.0.0.1:40123/cb");
  EXPECT_EQ(parameter("state").size(), 43u);
  EXPECT_EQ(crypto.digested.size(), 86u);
  EXPECT_EQ(parameter("state").find_first_of("+/="), std::string::npos);
  const auto page = comeBack("/cb?state=" + parameter("state") + "&code=a%2Bb");
  EXPECT_THAT(page->sent, ::testing::HasSubstr("Content-Length: 180\r\n"));
  EXPECT_TRUE(page->cancelled && listeners.last->cancelled);
  EXPECT_TRUE(auth->isSigningIn());
  const HttpRequest request = http.pending.at(0).request;
  EXPECT_EQ(request.url, "https://web.example/api/native/token");
  EXPECT_EQ(Json::parse(*request.body), (Json{{"code", "a+b"},
                                              {"code_verifier", crypto.digested},
                                              {"redirect_uri", "http://127.0.0.1:40123/cb"}}));
  http.reply(kToken, 200, kPair);
  EXPECT_THAT(outcomes, ElementsAre("signed in"));
  EXPECT_FALSE(auth->isSigningIn());
  EXPECT_EQ(keyStore.items[kAccount], "r1");
  EXPECT_EQ(auth->currentUserUUID(), "u1");
  clock.time += 3600 - 60.5;
  EXPECT_EQ(auth->validAccessToken(), "a1");
  clock.time += 1;
  EXPECT_EQ(auth->validAccessToken(), std::nullopt);
}

TEST_F(AuthTest, endsEachBadAttemptOnceAndSaysWhy) {
  crypto.fails = true;
  signIn();
  crypto.fails = false;
  listeners.obstacle = "no sockets";
  signIn();
  listeners.obstacle.clear();
  for (const char* target : {"/cb?code=abc", "/cb?state=x&state=y", "", "/cb?state=%zz"}) {
    openBrowser();
    EXPECT_THAT(comeBack(target)->sent, ::testing::StartsWith("HTTP/1.1 200 OK\r\n"));
  }
  for (const char* code : {"", "&code", "&code="}) comeBack("/cb?state=" + openBrowser() + code);
  signIn();
  signIn();
  listeners.last->handlers.failed("gone");
  signIn();
  listeners.last->freePort.reset();
  listeners.last->handlers.ready();
  workspace.works = false;
  openBrowser();
  workspace.works = true;
  openBrowser();
  EXPECT_TRUE(listeners.last->connect(std::nullopt)->cancelled);
  EXPECT_EQ(listeners.last->connect("GET \xff\r\n")->sent, "") << "no text: no reply, no end";
  mainQueue.advance(299.9);
  EXPECT_TRUE(auth->isSigningIn());
  mainQueue.advance(0.2);
  const std::string mismatch = "state mismatch (possible CSRF) — sign-in aborted";
  const std::string noCode = "no authorization code in the redirect";
  EXPECT_THAT(
      outcomes,
      ElementsAre("secure random generation failed — sign-in aborted",
                  "loopback listener failed: no sockets", mismatch, mismatch, mismatch, mismatch,
                  noCode, noCode, noCode, "loopback listener failed: sign-in already in progress",
                  "loopback listener failed: gone", "loopback listener failed: no port",
                  "could not open the system browser",
                  "loopback listener failed: sign-in timed out"));
  mainQueue.advance(1000);
  EXPECT_EQ(outcomes.size(), 14u) << "no attempt ends twice";
  EXPECT_THAT(keyStore.items, IsEmpty());
}

TEST_F(AuthTest, takesTokensOnlyFromASoundReply) {
  for (const auto& [status, body] : {std::pair(500, "no"), {201, kPair}, {401, "bad code"}}) {
    openBrowser();
    comeBackWithACode();
    http.reply(kToken, status, body);
  }
  EXPECT_THAT(outcomes, ElementsAre("auth HTTP 500: no", std::string("auth HTTP 201: ") + kPair,
                                    "auth HTTP 401: bad code"));
  outcomes.clear();
  launchWith("r0");
  for (const char* body : {"", "[]", R"({"access_token":"a","refresh_token":"r","user_uuid":7})"}) {
    refresh();
    http.reply(kRefresh, 200, body);
  }
  refresh();
  http.fail(kRefresh, "no route");
  EXPECT_THAT(outcomes, ElementsAre("malformed token response", "malformed token response",
                                    "malformed token response", "no route"));
  EXPECT_EQ(auth->storedRefreshToken(), "r0");
  EXPECT_EQ(auth->validAccessToken(), std::nullopt);
  EXPECT_EQ(keyStore.reads, 1) << "read once a launch";
}

TEST_F(AuthTest, refreshesOnceForAllAndSignsOutWhenRefused) {
  refresh();
  EXPECT_THAT(outcomes, ElementsAre("not signed in"));
  launchWith("r0");
  for (int i = 0; i < 3; ++i) refresh();
  ASSERT_EQ(http.pending.size(), 1u);
  EXPECT_EQ(*http.pending[0].request.body, R"({"refresh_token":"r0"})");
  http.reply(kRefresh, 200,
             R"({"access_token":"a2","refresh_token":"r2","user_uuid":"u","expires_in":1.5})");
  EXPECT_THAT(outcomes, ElementsAre("not signed in", "a2", "a2", "a2"));
  clock.time += 1800 - 61;
  EXPECT_EQ(auth->validAccessToken(), "a2") << "half an hour where the reply names no whole number";
  auth->invalidateAccessToken();
  EXPECT_EQ(auth->validAccessToken(), std::nullopt);
  EXPECT_EQ(auth->currentUserUUID(), "u");
  refresh();
  http.reply(kRefresh, 503, "later");
  EXPECT_EQ(auth->storedRefreshToken(), "r2");
  refresh();
  http.reply(kRefresh, 401, "revoked");
  EXPECT_EQ(auth->storedRefreshToken(), std::nullopt);
  EXPECT_THAT(keyStore.items, IsEmpty());
}

TEST_F(AuthTest, livesWithAKeyStoreThatIsLockedOrFull) {
  keyStore.items[kAccount] = "r0";
  keyStore.readStatus = errSecInteractionNotAllowed;
  EXPECT_EQ(auth->storedRefreshToken(), std::nullopt);
  EXPECT_THAT(keyStore.items, IsEmpty());
  keyStore.readStatus = kNoError;
  keyStore.addStatus = errSecNotAvailable;
  openBrowser();
  comeBackWithACode();
  http.reply(kToken, 200, kPair);
  EXPECT_EQ(auth->storedRefreshToken(), "r1") << "in memory, for this launch";
  auth->signOut();
  EXPECT_EQ(auth->storedRefreshToken(), std::nullopt);
  EXPECT_EQ(auth->currentUserUUID(), std::nullopt);
}

/// Answers each request on a thread of its own.
class ThreadedHttp : public HttpClient {
 public:
  void send(HttpRequest, Completion completion) override {
    ++requests;
    std::lock_guard hold(mutex);
    threads.emplace_back([completion = std::move(completion)] {
      completion({std::nullopt, 200, {}, kPair});
    });
  }
  std::atomic<int> requests{0};
  std::mutex mutex;
  std::vector<std::jthread> threads;  // by mutex
};

TEST_F(AuthTest, callsEveryWaiterOnceWhoeverAsks) {
  keyStore.items[kAccount] = "r0";
  ThreadedHttp threaded;
  const auto manager = std::make_shared<AuthManager>(on(*this, threaded));
  std::atomic<int> told{0};
  {
    std::vector<std::jthread> askers;
    for (int i = 0; i < 8; ++i)
      askers.emplace_back([&] {
        for (int j = 0; j < 50; ++j) {
          manager->refreshTokens([&](const auto&) { ++told; });
          (void)manager->validAccessToken();
          manager->invalidateAccessToken();
          (void)manager->currentUserUUID();
          (void)manager->storedRefreshToken();
          (void)manager->isSigningIn();
        }
      });
  }
  while (told < 400) std::this_thread::yield();
  threaded.threads.clear();
  EXPECT_EQ(told, 400);
  EXPECT_LE(threaded.requests, 400);
}

}  // namespace
}  // namespace quorvex
