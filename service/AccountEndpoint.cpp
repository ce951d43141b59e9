#include "service/AccountEndpoint.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "service/Authorization.h"
#include "service/Encoding.h"
#include "service/JsonMembers.h"
#include "service/SignInPage.h"

namespace quorvex::service {
namespace {

using std::chrono::system_clock;
using Fields = std::map<std::string, std::string>;

constexpr std::size_t kDigestLength = 43;  // SHA-256 in base64url
constexpr std::size_t kLongestVerifier = 128;
constexpr std::size_t kLongestQuote = 200;

std::string fieldOf(const Fields& fields, const char* name) {
  const auto found = fields.find(name);
  return found == fields.end() ? "" : found->second;
}

bool isDigestLong(const std::string& text) {
  return text.size() == kDigestLength && base64UrlDecoded(text);
}

/// None unless `uri` is literally http://127.0.0.1:PORT/cb: whatever else it may mean to a browser,
/// a code must not go there.
std::optional<std::uint16_t> portOf(const std::string& uri) {
  const std::string_view start = "http://127.0.0.1:";
  std::uint16_t port = 0;
  if (uri.starts_with(start))
    std::from_chars(uri.data() + start.size(), uri.data() + uri.size(), port);
  const std::string meant = std::string(start) + std::to_string(port) + "/cb";
  return port > 0 && uri == meant ? std::optional(port) : std::nullopt;
}

std::uint16_t checkedPortOf(const Fields& query) {
  const std::string uri = fieldOf(query, "redirect_uri");
  const auto port = portOf(uri);
  if (!port)
    throw Refusal{400,
                  "parameter \"redirect_uri\" must be http://127.0.0.1:PORT/cb with a port from 1 "
                  "to 65535; it is \"" +
                      uri.substr(0, kLongestQuote) + "\""};
  for (const char* name : {"challenge", "state"})
    if (!isDigestLong(fieldOf(query, name)))
      throw Refusal{400, "parameter \"" + std::string(name) +
                             "\" must be 43 characters of the base64url alphabet"};
  if (query.size() > 3)
    throw Refusal{400, "there are parameters beside \"challenge\", \"state\" and \"redirect_uri\""};
  return *port;
}

const std::string& verifierOf(const JsonMembers& body) {
  const std::string& verifier = body.text("code_verifier");
  const bool isSpeltRight = std::ranges::all_of(verifier, [](unsigned char c) {
    return std::isalnum(c) || std::string_view("-._~").find(c) != std::string_view::npos;
  });
  if (verifier.size() < kDigestLength || verifier.size() > kLongestVerifier || !isSpeltRight)
    body.refuse("code_verifier", "43 to 128 letters, digits, \"-\", \".\", \"_\" or \"~\"");
  return verifier;
}

}  // namespace

void AccountEndpoint::ask(const HttpRequest& request, const Respond& respond) const {
  try {
    const Fields& query = request.query;
    const std::uint16_t port = checkedPortOf(query);
    respond(signInPage(accounts.ask({.challenge = query.at("challenge"),
                                     .redirectUri = query.at("redirect_uri"),
                                     .state = query.at("state")},
                                    system_clock::now()),
                       port));
  } catch (const Refusal& refusal) {
    respond(signInRefused(refusal));
  }
}

void AccountEndpoint::decide(const HttpRequest& request, const Respond& respond) const {
  const Fields form = formFields(request.body);
  const std::string decision = fieldOf(form, "decision");
  const auto now = system_clock::now();
  const auto signIn = accounts.take(fieldOf(form, "ticket"), now);
  if (!signIn || (decision != "allow" && decision != "deny"))
    return respond(signInRefused(
        {400, "This page has been used or is too old. Begin again in Quorvex Camera."}));
  const std::string result =
      decision == "allow" ? "code=" + accounts.allow(*signIn, now) : "error=access_denied";
  respond(redirected(signIn->redirectUri + "?" + result + "&state=" + signIn->state));
}

void AccountEndpoint::exchange(const HttpRequest& request, const Respond& respond) const {
  requireJson(request);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"code", "code_verifier", "redirect_uri"});
  respond(replyOf(accounts.exchange(body.text("code"), verifierOf(body), body.text("redirect_uri"),
                                    system_clock::now())));
}

void AccountEndpoint::refresh(const HttpRequest& request, const Respond& respond) const {
  requireJson(request);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"refresh_token"});
  respond(replyOf(accounts.refresh(body.text("refresh_token"), system_clock::now())));
}

HttpReply AccountEndpoint::replyOf(const Accounts::Session& session) const {
  return {.status = 200,
          .body = nlohmann::json{{"access_token", session.accessToken},
                                 {"refresh_token", session.refreshToken},
                                 {"user_uuid", accounts.user()},
                                 {"expires_in", session.accessLife.count()}},
          .headers = {{"Cache-Control", "no-store"}}};
}

}  // namespace quorvex::service
