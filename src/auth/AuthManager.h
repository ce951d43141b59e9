#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "auth/AuthError.h"
#include "auth/TokenStore.h"
#include "platform/Clock.h"
#include "platform/Crypto.h"
#include "platform/DispatchQueue.h"
#include "platform/HttpClient.h"
#include "platform/KeyStore.h"
#include "platform/LoopbackListener.h"
#include "platform/Workspace.h"

namespace quorvex {

/// What the service gives for a code or for a refresh token.
struct NativeTokenPair {
  std::string accessToken;
  std::string refreshToken;
  std::string userUUID;
  std::int64_t expiresIn = 0;  ///< seconds
  bool operator==(const NativeTokenPair&) const = default;
};

/// Signs the user in through the system browser, by an authorization code with a proof key on a
/// one-shot loopback listener, and keeps the account's tokens: the refresh token in the key store
/// and nowhere else. One sign-in at a time; refreshes that are asked for at the same time share one
/// request. Thread-safe, except where it says main thread; no lock is held over a callback or a
/// request.
class AuthManager : public TokenStore, public std::enable_shared_from_this<AuthManager> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    const Clock& clock;
    HttpClient& http;
    KeyStore& keyStore;
    const Crypto& crypto;
    LoopbackListenerFactory& listeners;
    Workspace& workspace;
    std::string webBase;  ///< as in ServiceEndpoints
  };
  /// None: it succeeded.
  using SignInCompletion = std::function<void(const std::optional<AuthFailure>& failure)>;
  using RefreshResult = std::variant<NativeTokenPair, AuthFailure>;
  using RefreshCompletion = std::function<void(const RefreshResult&)>;

  explicit AuthManager(Dependencies dependencies);
  ~AuthManager() override;

  /// Main thread. Calls `completion` once: before it returns when the attempt cannot begin, else on
  /// the main queue, or on the HTTP client's for the outcome of the token request.
  void signIn(SignInCompletion completion);
  [[nodiscard]] bool isSigningIn() const;

  /// Calls `completion` once, with the outcome of the one request that is under way.
  void refreshTokens(RefreshCompletion completion);
  /// Forgets the account, here and in the key store. What is under way goes on.
  void signOut();

  [[nodiscard]] std::optional<std::string> validAccessToken() override;
  [[nodiscard]] std::optional<std::string> storedRefreshToken() override;
  void refresh(std::function<void(std::optional<std::string>)> completion) override;
  [[nodiscard]] std::optional<std::string> currentUserUUID() override;
  void invalidateAccessToken() override;

 private:
  struct PendingLogin;
  using Waiters = std::vector<RefreshCompletion>;

  [[nodiscard]] std::shared_ptr<PendingLogin> attempt() const;
  void listen(const std::shared_ptr<PendingLogin>& login);
  void listenerReady(const std::shared_ptr<PendingLogin>& login);
  void openBrowser(const std::shared_ptr<PendingLogin>& login);
  void redirected(const std::optional<std::string>& request,
                  const std::shared_ptr<LoopbackConnection>& connection,
                  const std::shared_ptr<PendingLogin>& login);
  void exchangeCode(const std::string& code, const std::string& verifier,
                    const std::string& redirectURI);
  void finish(const std::optional<AuthFailure>& failure);

  void post(const std::string& path, std::string body,
            std::function<void(AuthManager&, const RefreshResult&)> done, bool isRefresh);
  [[nodiscard]] RefreshResult handleTokenResponse(const HttpResult& reply, bool isRefresh);
  void drainRefreshWaiters(const RefreshResult& result);
  void setTokens(const NativeTokenPair& pair);
  void cacheRefreshToken(std::optional<std::string> token);

  [[nodiscard]] std::optional<std::string> keychainRead();
  bool keychainSave(const std::string& value);
  void keychainDelete();

  const Dependencies needs;
  mutable std::mutex lock;
  // The lock guards all that follows.
  std::optional<std::string> accessToken;
  std::optional<std::string> userUUID;
  std::optional<double> accessTokenExpiry;  ///< on the clock
  /// The outer one is empty while the key store has not been read.
  std::optional<std::optional<std::string>> refreshCached;
  std::shared_ptr<PendingLogin> pending;
  std::optional<Waiters> refreshWaiters;  ///< none while no refresh is under way
};

}  // namespace quorvex
