#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "service/Faults.h"
#include "service/Tokens.h"

namespace quorvex::service {

/// The service's one account and how programs get at it: a sign-in that its user is asked about, a
/// code once allowed, and for the code a grant, whose access tokens are short-lived and whose
/// refresh token changes with each use. Holds so many of each, of which the oldest goes first. All
/// times are the caller's. Used on the service's thread.
class Accounts {
 public:
  using Time = std::chrono::system_clock::time_point;

  static constexpr std::size_t kMost = 64;
  static constexpr const char* kTokenType = "account";
  static constexpr std::chrono::minutes kDecisionTime{10};
  static constexpr std::chrono::seconds kCodeLife{60};
  static constexpr std::chrono::hours kRefreshLife{24 * 30};
  static constexpr std::chrono::minutes kAccessLife{30};

  /// What a program asks for.
  struct SignIn {
    std::string challenge;  ///< base64url of the SHA-256 of the program's verifier
    std::string redirectUri;
    std::string state;
  };
  struct Session {
    std::string accessToken;
    std::string refreshToken;
    std::chrono::seconds accessLife;
  };

  Accounts(Tokens& issuer, const Faults& present);

  [[nodiscard]] const std::string& user() const { return userUuid; }

  /// Keeps `signIn` until its user decides; gives the ticket for that.
  [[nodiscard]] std::string ask(SignIn signIn, Time now);
  /// Uses the ticket up. None when it is none that waits.
  [[nodiscard]] std::optional<SignIn> take(const std::string& ticket, Time now);
  /// Its user allows the sign-in: gives the code.
  [[nodiscard]] std::string allow(SignIn signIn, Time now);
  /// Uses the code up, whatever comes of it; a second use ends the grant that the first gave.
  /// Throws a `Refusal` (400).
  [[nodiscard]] Session exchange(const std::string& code, const std::string& verifier,
                                 const std::string& redirectUri, Time now);
  /// Uses the token up; a second use ends its grant. Throws a `Refusal` (401).
  [[nodiscard]] Session refresh(const std::string& token, Time now);

  /// Ends all grants, and with them their tokens.
  void revokeAll();
  /// So many are good at `now`.
  [[nodiscard]] int refreshTokens(Time now) const;

 private:
  /// Waits for its user's decision, and later under its code for the exchange.
  struct Pending {
    std::string secret;  ///< the ticket or the code
    SignIn signIn;
    Time expiry;
    bool isUsed = false;
    std::string grant{};  ///< what its use gave
  };
  struct Grant {
    std::string id;
    int refreshes = 0;
    Time expiry;  ///< of its present refresh token
  };

  [[nodiscard]] static std::string keep(std::deque<Pending>& where, SignIn signIn, Time expiry);
  [[nodiscard]] static std::deque<Pending>::iterator find(std::deque<Pending>& where,
                                                          const std::string& secret);
  [[nodiscard]] Session sessionOf(Grant grant, Time now);
  [[nodiscard]] std::string refreshTokenOf(const Grant& grant) const;
  [[nodiscard]] bool isOwn(const std::string& refreshToken) const;
  void end(const std::string& grant);

  Tokens& tokens;
  const Faults& faults;
  const std::string userUuid;
  const Bytes key;  ///< signs the refresh tokens
  std::deque<Pending> tickets;
  std::deque<Pending> codes;  ///< used ones too, to know them again
  std::deque<Grant> grants;   ///< the one refreshed last is at the end
};

}  // namespace quorvex::service
