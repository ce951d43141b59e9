#include <gtest/gtest.h>

#include "fakes/LogFile.h"
#include "signaling/OfferReply.h"

namespace quorvex {
namespace {

std::string summary(const OfferResult& result) {
  if (const auto* answer = std::get_if<offer::Answer>(&result)) return "answer " + answer->sdp;
  if (const auto* failure = std::get_if<offer::Failure>(&result)) return failure->message;
  if (const auto* queued = std::get_if<offer::Queued>(&result))
    return "queued " + std::to_string(queued->position.value_or(-1));
  return "busy " + std::to_string(std::get<offer::Busy>(result).retryAfter.value_or(-1));
}

TEST(OfferReply, isAnAnswerAPlaceARequestToWaitOrAFailure) {
  LogFile log;
  const std::vector<std::pair<HttpResult, std::string>> cases{
      {{"timed out", 0, {}, {}}, "timed out"},
      {{{}, 0, {}, {}}, "offer: no response"},
      {{{}, 200, {}, R"({"sdp":"s","face_swap_ready":true})"}, "answer s"},
      {{{}, 200, {}, R"({"status":"queued","queue_position":3,"sdp":"s"})"}, "queued 3"},
      {{{}, 200, {}, R"({"status":"queued","queue_position":"3"})"}, "queued -1"},
      {{{}, 200, {}, "[1]"}, "offer 200 without sdp"},
      {{{}, 401, {}, "whatever"}, "401 token expired"},
      {{{}, 404, {}, "not found"}, "offer 404: not found"},
      {{{}, 503, {{"retry-after", "7.5"}}, "x"}, "busy 7.500000"},
      {{{}, 503, {{"retry-after", " \t12 "}}, "x"}, "busy 12.000000"},
      {{{}, 503, {{"retry-after", "nan"}}, "x"}, "busy -1.000000"},
      {{{}, 503, {{"retry-after", "Wed, 21 Oct 2026 07:28:00 GMT"}}, "x"}, "busy -1.000000"},
      {{{}, 503, {}, "x"}, "busy -1.000000"}};
  for (const auto& [reply, expected] : cases)
    EXPECT_EQ(summary(classifyOfferReply(reply)), expected);
  const auto lines = log.lines();
  EXPECT_EQ(lines.front(), "signaling: got answer (face_swap_ready=true)");
  EXPECT_EQ(lines.back(), "signaling: offer 503 backend busy (retry-after ?)");
}

}  // namespace
}  // namespace quorvex
