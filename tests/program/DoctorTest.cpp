#include <gmock/gmock.h>

#include <future>

#include "program/Doctor.h"

namespace quorvex {
namespace {

TEST(Doctor, namesWhatDoesNotAnswerAndShowsNoPassword) {
  std::promise<void> release;
  const auto released = release.get_future().share();
  const std::vector<Finding> web{
      {"web", "Web", Finding::State::ok, "at https://me:secret@a/\033[2J", ""}};
  const auto [findings, complete] =
      examine({{"stuck", "Stuck", [released] { return released.wait(), std::vector<Finding>{}; }},
               {"web", "Web", [web] { return web; }}},
              std::chrono::milliseconds(200));
  release.set_value();
  EXPECT_FALSE(complete);
  EXPECT_THAT(asText(findings),
              ::testing::AllOf(::testing::HasSubstr("has not answered within 0 s"),
                               ::testing::HasSubstr("at https://…@a/ [2J\n")));
}

}  // namespace
}  // namespace quorvex
