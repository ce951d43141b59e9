#include "auth/AuthManager.h"

#include <algorithm>
#include <utility>

#include "auth/Pkce.h"
#include "auth/RedirectRequest.h"
#include "platform/Weakly.h"
#include "support/Json.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {
namespace {

using Case = AuthError::Case;

constexpr const char* kRefreshTokenAccount = "com.tessaly.quorvexcamera.refreshToken";
constexpr Seconds kAttemptLimit{300};
constexpr int kVerifierBytes = 64;
constexpr int kStateBytes = 32;
constexpr int kLargestRequest = 8192;
constexpr std::int64_t kDefaultLifetime = 1800;
constexpr std::int64_t kLeastLifetime = 60;
constexpr double kExpiryMargin = 60;
constexpr int kOk = 200;
constexpr int kUnauthorized = 401;

AuthFailure listenerFailed(const std::string& message) {
  return AuthError{Case::listenerFailed, message};
}

std::optional<NativeTokenPair> parsePair(const std::string& body) {
  const auto object = parseObject(body);
  if (!object) return std::nullopt;
  auto access = textMember(*object, "access_token"), refresh = textMember(*object, "refresh_token");
  auto user = textMember(*object, "user_uuid");
  if (!access || !refresh || !user) return std::nullopt;
  return NativeTokenPair{std::move(*access), std::move(*refresh), std::move(*user),
                         integerMember(*object, "expires_in").value_or(kDefaultLifetime)};
}

}  // namespace

/// One sign-in, from its start to its end.
struct AuthManager::PendingLogin {
  std::string verifier;
  std::string state;
  std::string redirectURI;  ///< empty until the listener is ready
  SignInCompletion completion;
  std::shared_ptr<LoopbackListener> listener;
  std::unique_ptr<Timer> timeout;
};

AuthManager::AuthManager(Dependencies dependencies) : needs(std::move(dependencies)) {}
AuthManager::~AuthManager() = default;

std::shared_ptr<AuthManager::PendingLogin> AuthManager::attempt() const {
  std::lock_guard hold(lock);
  return pending;
}

bool AuthManager::isSigningIn() const {
  return attempt() != nullptr;
}

void AuthManager::signIn(SignInCompletion completion) {
  if (attempt()) return completion(listenerFailed("sign-in already in progress"));
  auto verifier = randomURLSafe(needs.crypto, kVerifierBytes);
  auto state = randomURLSafe(needs.crypto, kStateBytes);
  if (!verifier || !state) return completion(AuthError{Case::secureRNGFailed});
  auto listener = needs.listeners.create();
  if (const auto* error = std::get_if<std::string>(&listener))
    return completion(listenerFailed(*error));
  const auto login = std::make_shared<PendingLogin>();
  login->verifier = std::move(*verifier);
  login->state = std::move(*state);
  login->completion = std::move(completion);
  login->listener = std::move(std::get<std::shared_ptr<LoopbackListener>>(listener));
  {
    std::lock_guard hold(lock);
    pending = login;
  }
  listen(login);
  login->timeout = needs.mainQueue.after(
      kAttemptLimit, weakly(this, [weak = std::weak_ptr(login)](AuthManager& self) {
        const auto expired = weak.lock();
        if (!expired || self.attempt() != expired) return;
        expired->listener->cancel();
        self.finish(listenerFailed("sign-in timed out"));
      }));
}

void AuthManager::listen(const std::shared_ptr<PendingLogin>& login) {
  // The attempt owns its listener, and the handlers must not own the attempt in turn.
  const std::weak_ptr weakLogin = login;
  const std::weak_ptr weakListener = login->listener;
  LoopbackListener::Handlers handlers;
  handlers.ready = weakly(this, [weakLogin](AuthManager& self) {
    if (const auto current = weakLogin.lock()) self.listenerReady(current);
  });
  handlers.failed = weakly(this, [weakListener](AuthManager& self, const std::string& error) {
    const auto listener = weakListener.lock();
    self.finish(listenerFailed(error));
    if (listener) listener->cancel();
  });
  handlers.newConnection = weakly(this, [weakLogin](AuthManager& self, const auto& connection) {
    connection->receive(kLargestRequest, [weak = self.weak_from_this(), weakLogin,
                                          connection](const std::optional<std::string>& request) {
      const auto manager = weak.lock();
      if (!manager) return connection->cancel();
      manager->redirected(request, connection, weakLogin.lock());
    });
  });
  login->listener->start(std::move(handlers));
}

void AuthManager::listenerReady(const std::shared_ptr<PendingLogin>& login) {
  const auto port = login->listener->port();
  if (!port) {
    finish(listenerFailed("no port"));
    return login->listener->cancel();
  }
  login->redirectURI = "http://127.0.0.1:" + std::to_string(*port) + "/cb";
  openBrowser(login);
}

void AuthManager::openBrowser(const std::shared_ptr<PendingLogin>& login) {
  // Nothing in it needs to be escaped: base64url, and a URL whose marks a query may hold.
  const std::string url = appendingPathComponent(needs.webBase, "native/authorize") +
                          "?challenge=" + codeChallenge(needs.crypto, login->verifier) +
                          "&state=" + login->state + "&redirect_uri=" + login->redirectURI;
  needs.workspace.open(url,
                       weakly(this, [weak = std::weak_ptr(login)](AuthManager& self, bool opened) {
                         const auto current = weak.lock();
                         if (opened || !current || self.attempt() != current) return;
                         current->listener->cancel();
                         self.finish(AuthError{Case::browserOpenFailed});
                       }));
}

void AuthManager::redirected(const std::optional<std::string>& request,
                             const std::shared_ptr<LoopbackConnection>& connection,
                             const std::shared_ptr<PendingLogin>& login) {
  if (!request || !decodedUtf8(*request)) return connection->cancel();
  connection->send(signedInPage(), [connection] { connection->cancel(); });
  // One that connected to an attempt that is over has no say in the next.
  if (!login || attempt() != login) return;
  login->listener->cancel();
  const RedirectRequest redirect = parseRedirect(*request);
  if (redirect.state != login->state) return finish(AuthError{Case::stateMismatch});
  if (redirect.code.value_or("").empty()) return finish(AuthError{Case::noCode});
  exchangeCode(*redirect.code, login->verifier, login->redirectURI);
}

void AuthManager::finish(const std::optional<AuthFailure>& failure) {
  std::shared_ptr<PendingLogin> ended;
  {
    std::lock_guard hold(lock);
    ended = std::exchange(pending, nullptr);
  }
  if (ended) ended->completion(failure);
}

void AuthManager::exchangeCode(const std::string& code, const std::string& verifier,
                               const std::string& redirectURI) {
  post(
      "api/native/token",
      encoded(Json{{"code", code}, {"code_verifier", verifier}, {"redirect_uri", redirectURI}})
          .value_or(""),
      [](AuthManager& self, const RefreshResult& result) {
        const auto* failure = std::get_if<AuthFailure>(&result);
        self.finish(failure ? std::optional(*failure) : std::nullopt);
      },
      false);
}

void AuthManager::refreshTokens(RefreshCompletion completion) {
  {
    std::lock_guard hold(lock);
    if (refreshWaiters) return refreshWaiters->push_back(std::move(completion));
    refreshWaiters.emplace().push_back(std::move(completion));
  }
  const auto token = storedRefreshToken();
  if (!token) return drainRefreshWaiters(AuthFailure(AuthError{Case::notSignedIn}));
  post(
      "api/native/refresh", encoded(Json{{"refresh_token", *token}}).value_or(""),
      [](AuthManager& self, const RefreshResult& result) { self.drainRefreshWaiters(result); },
      true);
}

void AuthManager::refresh(std::function<void(std::optional<std::string>)> completion) {
  refreshTokens([completion = std::move(completion)](const RefreshResult& result) {
    const auto* pair = std::get_if<NativeTokenPair>(&result);
    completion(pair ? std::optional(pair->accessToken) : std::nullopt);
  });
}

void AuthManager::drainRefreshWaiters(const RefreshResult& result) {
  std::optional<Waiters> waiters;
  {
    std::lock_guard hold(lock);
    waiters = std::exchange(refreshWaiters, std::nullopt);
  }
  for (const auto& completion : waiters.value_or(Waiters{})) completion(result);
}

void AuthManager::post(const std::string& path, std::string body,
                       std::function<void(AuthManager&, const RefreshResult&)> done,
                       bool isRefresh) {
  HttpRequest request;
  request.method = "POST";
  request.url = appendingPathComponent(needs.webBase, path);
  request.headers["Content-Type"] = "application/json";
  request.body = std::move(body);
  // Whoever waits is told, so the manager lives until the reply is in.
  needs.http.send(std::move(request), [self = shared_from_this(), done = std::move(done),
                                       isRefresh](const HttpResult& reply) {
    done(*self, self->handleTokenResponse(reply, isRefresh));
  });
}

AuthManager::RefreshResult AuthManager::handleTokenResponse(const HttpResult& reply,
                                                            bool isRefresh) {
  if (reply.error) return AuthFailure(TransportError{*reply.error});
  if (reply.status == 0 || !reply.body) return AuthFailure(AuthError{Case::malformedResponse});
  if (reply.status != kOk) {
    if (isRefresh && reply.status == kUnauthorized) {
      keychainDelete();
      cacheRefreshToken(std::nullopt);
    }
    return AuthFailure(AuthError{Case::http, decodedUtf8(*reply.body).value_or(""), reply.status});
  }
  auto pair = parsePair(*reply.body);
  if (!pair) return AuthFailure(AuthError{Case::malformedResponse});
  setTokens(*pair);
  keychainSave(pair->refreshToken);
  cacheRefreshToken(pair->refreshToken);
  return *std::move(pair);
}

void AuthManager::setTokens(const NativeTokenPair& pair) {
  const double now = needs.clock.now();
  std::lock_guard hold(lock);
  accessToken = pair.accessToken;
  userUUID = pair.userUUID;
  accessTokenExpiry = now + static_cast<double>(std::max(pair.expiresIn, kLeastLifetime));
}

void AuthManager::cacheRefreshToken(std::optional<std::string> token) {
  std::lock_guard hold(lock);
  refreshCached.emplace(std::move(token));
}

std::optional<std::string> AuthManager::validAccessToken() {
  const double now = needs.clock.now();
  std::lock_guard hold(lock);
  if (!accessToken || !accessTokenExpiry || now >= *accessTokenExpiry - kExpiryMargin)
    return std::nullopt;
  return accessToken;
}

std::optional<std::string> AuthManager::storedRefreshToken() {
  std::lock_guard hold(lock);
  if (!refreshCached) refreshCached.emplace(keychainRead());
  return *refreshCached;
}

std::optional<std::string> AuthManager::currentUserUUID() {
  std::lock_guard hold(lock);
  return userUUID;
}

void AuthManager::signOut() {
  {
    std::lock_guard hold(lock);
    accessToken.reset();
    userUUID.reset();
    accessTokenExpiry.reset();
  }
  keychainDelete();
  cacheRefreshToken(std::nullopt);
}

void AuthManager::invalidateAccessToken() {
  std::lock_guard hold(lock);
  accessToken.reset();
  accessTokenExpiry.reset();
}

std::optional<std::string> AuthManager::keychainRead() {
  std::string data;
  const OSStatus status = needs.keyStore.SecItemCopyMatching(kRefreshTokenAccount, &data);
  if (status == errSecInteractionNotAllowed || status == errSecAuthFailed) keychainDelete();
  return status == kNoError ? decodedUtf8(data) : std::nullopt;
}

bool AuthManager::keychainSave(const std::string& value) {
  keychainDelete();
  return needs.keyStore.SecItemAdd(kRefreshTokenAccount, value) == kNoError;
}

void AuthManager::keychainDelete() {
  needs.keyStore.SecItemDelete(kRefreshTokenAccount);
}

}  // namespace quorvex
