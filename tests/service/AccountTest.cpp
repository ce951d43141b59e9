// Signing in: what the user's browser sees, and what the program gets, keeps and loses.
#include <gmock/gmock.h>

#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using namespace test;
using namespace testing;

// The example of RFC 7636.
const std::string kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
const std::string kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
const std::string kState(43, 's'), kUri = "http://127.0.0.1:4567/cb";
const std::string kQuery = "?challenge=" + kChallenge + "&state=" + kState + "&redirect_uri=";

std::string valueAfter(const std::string& mark, const std::string& text) {
  return text.substr(text.find(mark) + mark.size(), 43);
}

struct SignIn : ServiceTest {
  std::string browse(const std::string& query, const std::string& form = "") const {
    const std::string what = (form.empty() ? "GET" : "POST") + (" /native/authorize" + query);
    return sendRaw(service.port, what + " HTTP/1.1\r\nConnection: close\r\nContent-Length: " +
                                     std::to_string(form.size()) + "\r\n\r\n" + form);
  }
  std::string ticket() const {
    return "ticket=" + valueAfter("name=\"ticket\" value=\"", browse(kQuery + kUri));
  }
  std::string code() const {
    return valueAfter("Location: " + kUri + "?code=", browse("", ticket() + "&decision=allow"));
  }
  Reply exchange(const std::string& code, const json& changes = json::object()) const {
    json body = {{"code", code}, {"code_verifier", kVerifier}, {"redirect_uri", kUri}};
    body.update(changes);
    return request(service.port, "POST", "/api/native/token", kJson, body.dump());
  }
  Reply refresh(const json& tokens) const {
    const json body = {{"refresh_token", tokens.at("refresh_token")}};
    return request(service.port, "POST", "/api/native/refresh", kJson, body.dump());
  }
};

TEST_F(SignIn, asksOnAPageThatIsGoodForOneDecisionAndRedirectsNowhereElse) {
  EXPECT_THAT(browse(kQuery + kUri),
              AllOf(HasSubstr("text/html"), HasSubstr("X-Frame-Options: DENY"),
                    HasSubstr("form-action 'self' http://127.0.0.1:4567;")));
  const std::string used = ticket() + "&decision=deny", forged = ticket() + "x&decision=allow";
  EXPECT_THAT(browse("", used), HasSubstr(kUri + "?error=access_denied&state=" + kState + "\r"));
  EXPECT_THAT(browse("", ticket() + "&decision=allow"), HasSubstr("&state=" + kState + "\r"));
  for (const auto& form : {used, forged, ticket(), std::string("decision=allow&%&=")})
    EXPECT_THAT(browse("", form), StartsWith("HTTP/1.1 400")) << form;
  std::istringstream uris(
      "127.0.0.1/cb 127.0.0.1:0/cb 127.0.0.1:65536/cb 127.0.0.1:080/cb 127.0.0.1:8/cb/ [::1]:8/cb "
      "127.0.0.1:8/cb%3fa localhost:8/cb a@127.0.0.1:8/cb 127.0.0.1:8@b.example/cb %22%3Cscript "
      "127.0.0.1:8/cb&challenge=a 127.0.0.1:8/cb&state=%0d%0a 127.0.0.1:8/cb&a=b");
  for (std::string uri; uris >> uri;)
    EXPECT_THAT(browse(kQuery + "http://" + uri),
                AllOf(StartsWith("HTTP/1.1 400"), Not(HasSubstr("<script"))));
}

TEST_F(SignIn, givesTokensForTheRightProofOnlyAndEndsThemWhenTheyWereCopied) {
  for (const auto* name : {"code", "code_verifier", "redirect_uri"})
    EXPECT_THAT(exchange(code(), {{name, kVerifier + "x"}}).refusal(),
                StartsWith(std::string("400 member \"") + name));
  service.control("faults", {{"access_seconds", 60}});
  const std::string stolen = code();
  const json robbed = exchange(stolen).body, other = exchange(code()).body;
  EXPECT_EQ(exchange(stolen).status, 400);
  const json renewed = refresh(other).body;
  EXPECT_EQ(renewed.at("expires_in"), 60);
  for (const json& gone : {robbed, other, renewed}) EXPECT_EQ(refresh(gone).status, 401);
  for (const json& gone : {robbed, renewed}) {
    HostSession host = session;
    host.headers["Authorization"] = "Bearer " + gone.at("access_token").get<std::string>();
    EXPECT_EQ(host.post("/ws/offer", {}).status, 401);
  }
}

}  // namespace
}  // namespace quorvex::service
