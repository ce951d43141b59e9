#include "service/Accounts.h"

#include <algorithm>
#include <utility>

namespace quorvex::service {
namespace {

using std::chrono::seconds;

}  // namespace

Accounts::Accounts(Tokens& issuer, const Faults& present)
    : tokens(issuer), faults(present), userUuid(issuer.newUser()), key(randomBytes(32)) {}

std::string Accounts::keep(std::deque<Pending>& where, SignIn signIn, Time expiry) {
  if (where.size() == kMost) where.pop_front();
  where.push_back({base64Url(randomBytes(32)), std::move(signIn), expiry});
  return where.back().secret;
}

std::deque<Accounts::Pending>::iterator Accounts::find(std::deque<Pending>& where,
                                                       const std::string& secret) {
  return std::ranges::find_if(
      where, [&](const auto& one) { return equalInConstantTime(one.secret, secret); });
}

std::string Accounts::ask(SignIn signIn, Time now) {
  return keep(tickets, std::move(signIn), now + kDecisionTime);
}

std::optional<Accounts::SignIn> Accounts::take(const std::string& ticket, Time now) {
  const auto found = find(tickets, ticket);
  if (found == tickets.end()) return std::nullopt;
  const Pending taken = *found;
  tickets.erase(found);
  return now < taken.expiry ? std::optional(taken.signIn) : std::nullopt;
}

std::string Accounts::allow(SignIn signIn, Time now) {
  return keep(codes, std::move(signIn), now + kCodeLife);
}

Accounts::Session Accounts::exchange(const std::string& code, const std::string& verifier,
                                     const std::string& redirectUri, Time now) {
  const auto found = find(codes, code);
  if (found != codes.end() && found->isUsed) end(found->grant);
  if (found == codes.end() || std::exchange(found->isUsed, true) || now >= found->expiry)
    throw Refusal{400, "member \"code\" is unknown, used up or older than a minute; sign in again"};
  if (redirectUri != found->signIn.redirectUri)
    throw Refusal{400, "member \"redirect_uri\" must be the one that the sign-in began with"};
  if (!equalInConstantTime(base64Url(sha256(verifier)), found->signIn.challenge))
    throw Refusal{400, "member \"code_verifier\" is not what the sign-in's challenge was made of"};
  found->grant = tokens.newGrant();
  return sessionOf({.id = found->grant, .expiry = now}, now);
}

Accounts::Session Accounts::refresh(const std::string& token, Time now) {
  const Refusal refusal{
      401, "member \"refresh_token\" is unknown, used up, expired or revoked; sign in again"};
  const std::string id = token.substr(0, token.find('.'));
  const auto found = std::ranges::find(grants, id, &Grant::id);
  if (found == grants.end() || !isOwn(token)) throw refusal;
  if (token != refreshTokenOf(*found) || now >= found->expiry) {
    // Two have had a token that was used up, and nobody can tell which of them is the thief.
    end(id);
    throw refusal;
  }
  Grant grant = *found;
  ++grant.refreshes;
  grants.erase(found);
  return sessionOf(std::move(grant), now);
}

Accounts::Session Accounts::sessionOf(Grant grant, Time now) {
  const seconds accessLife(faults.accessSeconds.value_or(seconds(kAccessLife).count()));
  grant.expiry = now + kRefreshLife;
  Session session{.accessToken = tokens.issue({.userUuid = userUuid,
                                               .brand = Tokens::kBrand,
                                               .type = kTokenType,
                                               .expiry = now + accessLife,
                                               .grant = grant.id}),
                  .refreshToken = refreshTokenOf(grant),
                  .accessLife = accessLife};
  if (grants.size() == kMost) end(std::string(grants.front().id));
  grants.push_back(std::move(grant));
  return session;
}

/// `<grant>.<how often it was refreshed>.<signature>`: used ones are known again without a list.
std::string Accounts::refreshTokenOf(const Grant& grant) const {
  const std::string content = grant.id + "." + std::to_string(grant.refreshes);
  return content + "." + base64Url(hmacSha256(key, content));
}

bool Accounts::isOwn(const std::string& refreshToken) const {
  const auto dot = refreshToken.rfind('.');
  return dot != std::string::npos &&
         equalInConstantTime(refreshToken.substr(dot + 1),
                             base64Url(hmacSha256(key, refreshToken.substr(0, dot))));
}

void Accounts::end(const std::string& grant) {
  tokens.endGrant(grant);
  std::erase_if(grants, [&](const Grant& one) { return one.id == grant; });
}

void Accounts::revokeAll() {
  for (const auto& grant : std::exchange(grants, {})) tokens.endGrant(grant.id);
}

int Accounts::refreshTokens(Time now) const {
  return static_cast<int>(
      std::ranges::count_if(grants, [&](const Grant& one) { return now < one.expiry; }));
}

}  // namespace quorvex::service
