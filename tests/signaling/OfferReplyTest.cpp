#include <gtest/gtest.h>

#include "fakes/LogFile.h"
#include "signaling/OfferReply.h"

namespace quorvex {
namespace {

std::string summary(const OfferResult& result) {
  struct {
    std::string operator()(const offer::Answer& it) const { return "answer " + it.sdp; }
    std::string operator()(const offer::Queued& it) const {
      return "queued " + (it.position ? std::to_string(*it.position) : "-");
    }
    std::string operator()(const offer::Busy& it) const {
      return "busy " + (it.retryAfter ? std::to_string(*it.retryAfter) : "-");
    }
    std::string operator()(const offer::Failure& it) const { return it.message; }
  } summarize;
  return std::visit(summarize, result);
}

TEST(OfferReply, isAnAnswerAPlaceARequestToWaitOrAFailure) {
  LogFile log;
  using Headers = std::map<std::string, std::string>;
  const std::vector<std::pair<HttpResult, std::string>> cases{
      {{"timed out", 0, {}, {}}, "timed out"},
      {{{}, 0, {}, {}}, "offer: no response"},
      {{{}, 200, {}, {}}, "offer: no response"},
      {{{}, 200, {}, R"({"sdp":"s","face_swap_ready":true})"}, "answer s"},
      {{{}, 200, {}, R"({"status":"queued","queue_position":3,"sdp":"s"})"}, "queued 3"},
      {{{}, 200, {}, R"({"status":"queued","queue_position":"3"})"}, "queued -"},
      {{{}, 200, {}, R"({"sdp":7})"}, "offer 200 without sdp"},
      {{{}, 200, {}, "[1]"}, "offer 200 without sdp"},
      {{{}, 401, {}, "whatever"}, "401 token expired"},
      {{{}, 404, {}, "not found"}, "offer 404: not found"},
      {{{}, 503, Headers{{"retry-after", "7.5"}}, "x"}, "busy 7.500000"},
      {{{}, 503, Headers{{"retry-after", " \t12 "}}, "x"}, "busy 12.000000"},
      {{{}, 503, Headers{{"retry-after", "12 s"}}, "x"}, "busy -"},
      {{{}, 503, Headers{{"retry-after", "nan"}}, "x"}, "busy -"},
      {{{}, 503, Headers{{"retry-after", "Wed, 21 Oct 2026 07:28:00 GMT"}}, "x"}, "busy -"},
      {{{}, 503, {}, "x"}, "busy -"}};
  for (const auto& [reply, expected] : cases)
    EXPECT_EQ(summary(classifyOfferReply(reply)), expected);
  const auto lines = log.lines();
  EXPECT_EQ(lines.front(), "signaling: got answer (face_swap_ready=true)");
  EXPECT_EQ(lines.back(), "signaling: offer 503 backend busy (retry-after ?)");
}

}  // namespace
}  // namespace quorvex
