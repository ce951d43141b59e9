#include <gtest/gtest.h>

#include "service/Options.h"

namespace quorvex::service {
namespace {

std::string refusalOf(const std::vector<std::string>& arguments) {
  const auto parsed = parseOptions(arguments);
  const auto* refusal = std::get_if<std::string>(&parsed);
  return refusal ? *refusal : "accepted";
}

TEST(Options, areReadInBothSpellings) {
  const auto options = std::get<Options>(
      parseOptions({"--port=8080", "--size", "641x481", "--ice-server", "stun:a.example:3478",
                    "--ice-server=turn:b.example,anna,se,cret", "--log"}));
  EXPECT_EQ(options.port, 8080);
  EXPECT_EQ(options.size.value().width, 641);
  EXPECT_EQ(options.size.value().height, 481);
  ASSERT_EQ(options.iceServers.size(), 2U);
  EXPECT_FALSE(options.iceServers[0].username);
  EXPECT_EQ(options.iceServers[1].url, "turn:b.example");
  EXPECT_EQ(options.iceServers[1].username, "anna");
  EXPECT_EQ(options.iceServers[1].credential, "se,cret");
  EXPECT_TRUE(options.log);
  EXPECT_FALSE(options.exitWithParent);
}

TEST(Options, areRefusedWithTheirNameWhenTheyAreWrong) {
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{"--port", "65536"},
                                             {"--port", "-1"},
                                             {"--port", "80x"},
                                             {"--port", ""},
                                             {"--port"},
                                             {"--size", "640"},
                                             {"--size", "640x"},
                                             {"--size", "15x480"},
                                             {"--size", "640x4097"},
                                             {"--size", "640x480x3"},
                                             {"--ice-server", "http://a.example"},
                                             {"--ice-server", "turn:"},
                                             {"--ice-server", "turn:a.example,anna"},
                                             {"--log=yes"},
                                             {"--unknown"},
                                             {"stray"}}) {
    const std::string name = wrong[0].substr(0, wrong[0].find('='));
    EXPECT_NE(refusalOf(wrong).find(name), std::string::npos) << refusalOf(wrong);
  }
}

}  // namespace
}  // namespace quorvex::service
