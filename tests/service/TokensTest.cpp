#include <gtest/gtest.h>

#include "service/Tokens.h"

namespace quorvex::service {
namespace {

TEST(Tokens, areKnownAgainUntilTheyExpireUnlessForgedOrForeign) {
  using std::chrono::seconds;
  const auto now = std::chrono::floor<seconds>(std::chrono::system_clock::now());
  const Tokens tokens;
  const std::string token = tokens.issue(
      {.userUuid = "a user", .brand = "quorvex", .type = "device", .expiry = now + seconds(60)});
  const auto claims = tokens.verify(token, now + seconds(59));
  ASSERT_TRUE(claims);
  EXPECT_EQ(claims->userUuid, "a user");
  EXPECT_FALSE(tokens.verify(token, now + seconds(60)));

  EXPECT_FALSE(Tokens().verify(token, now));
  const std::size_t dot = token.find('.');
  const std::string other = base64Url(R"({"brand_id":"quorvex","user_uuid":"x","exp":9999999999})");
  for (const std::string& forged :
       {other + token.substr(dot), token.substr(0, token.size() - 1), token + "A",
        token.substr(0, dot), std::string("."), std::string()})
    EXPECT_FALSE(tokens.verify(forged, now)) << forged;
}

}  // namespace
}  // namespace quorvex::service
