#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "service/Options.h"

namespace quorvex::service {
namespace {

std::variant<Options, std::string> parsed(const std::string& line) {
  std::istringstream words(line);
  return parseOptions({std::istream_iterator<std::string>(words), {}});
}

TEST(Options, areReadInBothSpellings) {
  const auto options =
      std::get<Options>(parsed("--port=8080 --size 641x481 --ice-server stun:a.example:3478 "
                               "--ice-server=turn:b.example,anna,se,cret --log"));
  EXPECT_EQ(options.port, 8080);
  EXPECT_EQ(options.size.value().width, 641);
  EXPECT_EQ(options.iceServers.at(1).credential, "se,cret");
}

TEST(Options, areRefusedWithTheirNameWhenTheyAreWrong) {
  for (const std::string wrong :
       {"--port 65536", "--port -1", "--port 80x", "--port=", "--port", "--size 640", "--size 640x",
        "--size 15x480", "--size 640x4097", "--size 640x480x3", "--ice-server http://a.example",
        "--ice-server turn:", "--ice-server turn:a.example,anna", "--log=yes", "--unknown",
        "stray"}) {
    const auto result = parsed(wrong);
    const auto* refusal = std::get_if<std::string>(&result);
    ASSERT_TRUE(refusal) << wrong;
    EXPECT_THAT(*refusal, testing::HasSubstr(wrong.substr(0, wrong.find_first_of(" ="))));
  }
}

}  // namespace
}  // namespace quorvex::service
