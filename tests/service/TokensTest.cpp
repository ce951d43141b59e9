#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "service/Tokens.h"

namespace quorvex::service {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using std::chrono::system_clock;

const auto kNow = std::chrono::floor<seconds>(system_clock::now());

std::string issuedBy(const Tokens& tokens) {
  return tokens.issue(
      {.userUuid = "a user", .brand = "quorvex", .type = "device", .expiry = kNow + hours(1)});
}

TEST(Tokens, areKnownAgainUntilTheyExpire) {
  const Tokens tokens;
  const std::string token = issuedBy(tokens);
  const auto claims = tokens.verify(token, kNow + hours(1) - seconds(1));
  ASSERT_TRUE(claims);
  EXPECT_EQ(claims->userUuid, "a user");
  EXPECT_EQ(claims->type, "device");
  EXPECT_FALSE(tokens.verify(token, kNow + hours(1)));
}

TEST(Tokens, areRefusedWhenForgedOrForeign) {
  const Tokens tokens;
  const std::string token = issuedBy(tokens);
  EXPECT_FALSE(Tokens().verify(token, kNow));
  const std::string claims =
      base64Url(R"({"brand_id":"quorvex","user_uuid":"x","exp":9999999999})");
  for (const std::string& forged :
       {claims + token.substr(token.find('.')), token.substr(0, token.size() - 1), token + "A",
        token.substr(0, token.find('.')), std::string("."), std::string()})
    EXPECT_FALSE(tokens.verify(forged, kNow)) << forged;
}

TEST(Tokens, nameTheirBrandInTheFirstSegment) {
  const std::string token = issuedBy(Tokens());
  const auto claims = base64UrlDecoded(token.substr(0, token.find('.')));
  EXPECT_EQ(nlohmann::json::parse(claims.value()).at("brand_id"), "quorvex");
}

TEST(Tokens, knowTheUsersTheyHaveNamed) {
  const Tokens tokens;
  const std::string user = tokens.newUser();
  EXPECT_EQ(user.size(), 36U);
  EXPECT_TRUE(tokens.isOwnUser(user));
  EXPECT_FALSE(Tokens().isOwnUser(user));
  for (const std::string& other : {tokens.newUser().substr(0, 35), std::string("a device"),
                                   std::string(36, 'x'), std::string()})
    EXPECT_FALSE(tokens.isOwnUser(other)) << other;
}

}  // namespace
}  // namespace quorvex::service
