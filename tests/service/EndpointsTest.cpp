#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/Encoding.h"
#include "service/RunningService.h"
#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using test::HostSession;
using test::request;
using test::RunningService;
using test::sendRaw;
using test::StatusTalk;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

const test::Headers kJson = {{"Content-Type", "application/json"}};

TEST(Endpoints, keepTheUserOfADeviceIdTheyHaveGivenOut) {
  const RunningService service;
  const HostSession first(service.port, "3f0c1d5e-0000-4000-8000-000000000000");
  EXPECT_NE(first.userUuid, "3f0c1d5e-0000-4000-8000-000000000000");
  EXPECT_EQ(HostSession(service.port, first.userUuid).userUuid, first.userUuid);
  EXPECT_NE(HostSession(service.port).userUuid, first.userUuid);
}

TEST(Endpoints, handOutTheIceServersWithoutAuthorization) {
  Options options;
  options.iceServers = {{.url = "stun:a.example", .username = {}, .credential = {}},
                        {.url = "turn:b.example", .username = "anna", .credential = "secret"}};
  const RunningService service(options);
  const auto reply = request(service.port, "GET", "/api/turn-credentials");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, json::parse(R"({"iceServers":[{"urls":["stun:a.example"]},
      {"urls":["turn:b.example"],"username":"anna","credential":"secret"}]})"));
}

TEST(Endpoints, sayWhatIsWrongWithARequest) {
  const RunningService service;
  const auto status = [&](const std::string& method, const std::string& path) {
    return request(service.port, method, path).status;
  };
  EXPECT_EQ(status("GET", "/nothing"), 404);
  EXPECT_EQ(status("DELETE", "/api/session-token"), 405);
  EXPECT_EQ(status("HEAD", "/api/turn-credentials"), 405);
  EXPECT_EQ(status("GET", "/ws/status"), 426);
  EXPECT_EQ(request(service.port, "GET", "/ws/offer").headers.at("Allow"), "POST");

  const auto minted = [&](const std::string& body, const test::Headers& headers = kJson) {
    const auto reply = request(service.port, "POST", "/api/session-token", headers, body);
    return std::to_string(reply.status) + " " + reply.error();
  };
  EXPECT_THAT(minted("{}"), MatchesRegex("400 .*device_id.*missing.*"));
  EXPECT_THAT(minted(R"({"device_id":7})"), MatchesRegex("400 .*device_id.*text.*"));
  EXPECT_THAT(minted(R"({"device_id":""})"), MatchesRegex("400 .*device_id.*not empty.*"));
  EXPECT_THAT(minted(R"({"device_id":"a","x":1})"), MatchesRegex("400 .*\"x\" is unknown.*"));
  EXPECT_THAT(minted("[]"), MatchesRegex("400 .*JSON object.*"));
  EXPECT_THAT(minted(std::string(100'000, '[')), MatchesRegex("400 .*JSON object.*"));
  EXPECT_THAT(minted("{\"device_id\":\"\xff\"}"), MatchesRegex("400 .*JSON object.*"));
  EXPECT_THAT(minted("{}", {{"Content-Type", "text/plain"}}), StartsWith("415 "));
}

/// A client whose offers would be taken, were they not spoilt in one place.
class SpoiltRequests : public testing::Test {
 public:
  [[nodiscard]] std::string offered(const json& changes, const test::Headers& headers = {}) const {
    json body = {{"sdp", "v=0"},
                 {"type", "offer"},
                 {"client_id", client},
                 {"token", session.token},
                 {"face_swap_config", {{"target_face_b64", "AAAA"}, {"enhance", true}}}};
    return posted("/ws/offer", body, changes, headers);
  }
  [[nodiscard]] std::string candidate(const json& changes,
                                      const test::Headers& headers = {}) const {
    json body = {{"candidate",
                  {{"candidate", "candidate:1 1 udp 2122260223 127.0.0.1 40000 typ host"},
                   {"sdpMid", "0"},
                   {"sdpMLineIndex", 0}}},
                 {"client_id", client}};
    return posted("/ws/ice-candidate", body, changes, headers);
  }
  [[nodiscard]] std::string posted(const std::string& path, json body, const json& changes,
                                   const test::Headers& headers) const {
    if (!changes.is_null()) body.merge_patch(changes);
    test::Headers all = session.headers;
    for (const auto& [name, value] : headers) all[name] = value;
    const auto reply = request(service.port, "POST", path, all, body.dump());
    return std::to_string(reply.status) + " " + reply.error();
  }

  RunningService service;
  HostSession session{service.port};
  StatusTalk status{session};
  std::string client = status.clientId();
};

TEST_F(SpoiltRequests, areRefusedByTheirHeaders) {
  for (const auto& post : {&SpoiltRequests::offered, &SpoiltRequests::candidate}) {
    EXPECT_THAT((this->*post)({}, {{"Authorization", "Bearer x.y"}}), StartsWith("401 "));
    EXPECT_THAT((this->*post)({}, {{"Authorization", session.token}}),
                MatchesRegex("401 .*Authorization.*"));
    EXPECT_THAT((this->*post)({}, {{"X-Brand-Id", "other"}}), MatchesRegex("403 .*X-Brand-Id.*"));
    EXPECT_THAT((this->*post)({}, {{"Content-Type", "text/plain"}}),
                MatchesRegex("415 .*Content-Type.*"));
  }
}

TEST_F(SpoiltRequests, areRefusedByTheirMembers) {
  EXPECT_THAT(offered({{"sdp", nullptr}}), MatchesRegex("400 .*\"sdp\".*"));
  EXPECT_THAT(offered({{"type", "answer"}}), MatchesRegex("400 .*\"type\" must be \"offer\".*"));
  EXPECT_THAT(offered({{"token", "other"}}), MatchesRegex("400 .*\"token\".*"));
  EXPECT_THAT(offered({{"client_id", "unknown"}}), MatchesRegex("404 .*\"client_id\".*"));
  EXPECT_THAT(offered({{"extra", 1}}), MatchesRegex("400 .*\"extra\" is unknown.*"));
  EXPECT_THAT(offered({{"face_swap_config", "x"}}), MatchesRegex("400 .*face_swap_config.*"));
  EXPECT_THAT(offered({{"face_swap_config", {{"enhance", 1}}}}),
              MatchesRegex("400 .*face_swap_config.enhance.*true or false.*"));
  EXPECT_THAT(offered({{"face_swap_config", {{"target_face_b64", "A-_="}}}}),
              MatchesRegex("400 .*target_face_b64.*base64.*"));
  EXPECT_THAT(candidate({{"candidate", {{"candidate", "nonsense"}}}}),
              MatchesRegex("400 .*candidate.candidate.*ICE.*"));
  EXPECT_THAT(candidate({{"candidate", {{"sdpMid", 7}}}}), MatchesRegex("400 .*sdpMid.*null.*"));
  EXPECT_THAT(candidate({{"candidate", {{"sdpMLineIndex", 4294967296}}}}),
              MatchesRegex("400 .*sdpMLineIndex.*32 bits.*"));
}

TEST_F(SpoiltRequests, areRefusedByTheirSessionDescription) {
  EXPECT_THAT(offered({}), MatchesRegex("400 .*\"sdp\" is no session description.*"));
  EXPECT_THAT(offered({{"sdp", "v=0\r\no=- 1 2 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n"}}),
              MatchesRegex("400 .*must offer video.*"));
}

TEST_F(SpoiltRequests, areRefusedForTheClientOfAnotherUser) {
  const HostSession other(service.port);
  const test::Headers theirs = {{"Authorization", other.headers.at("Authorization")}};
  EXPECT_THAT(offered({{"token", other.token}}, theirs), StartsWith("403 "));
  EXPECT_THAT(candidate({}, theirs), StartsWith("403 "));
}

TEST(Endpoints, takeDiagnosticReportsOfThreeTexts) {
  const RunningService service;
  const json report = {{"traceId", "ABCD-2345"}, {"connectionError", "gone"}, {"note", "n"}};
  EXPECT_EQ(request(service.port, "POST", "/api/diagnostic-report", kJson, report.dump()).status,
            204);
  for (const char* name : {"traceId", "connectionError", "note"}) {
    json spoilt = report;
    spoilt[name] = 7;
    const auto reply =
        request(service.port, "POST", "/api/diagnostic-report", kJson, spoilt.dump());
    EXPECT_EQ(reply.status, 400);
    EXPECT_THAT(reply.error(), HasSubstr(name));
  }
}

TEST(HttpServer, refusesWhatIsTooLargeOrUnreadableAndServesOn) {
  const RunningService service;
  const auto large =
      request(service.port, "POST", "/api/session-token", kJson, std::string((8 << 20) + 1, ' '));
  EXPECT_EQ(large.status, 413);
  EXPECT_THAT(large.error(), HasSubstr("8 MiB"));
  EXPECT_EQ(request(service.port, "GET", "/", {{"X-Large", std::string(17 << 10, 'x')}}).status,
            431);
  EXPECT_THAT(sendRaw(service.port, "gibberish\r\n\r\n", false), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(sendRaw(service.port, std::string(64, '\0'), false), StartsWith("HTTP/1.1 400 "));
  const std::string truncated =
      "POST /api/session-token HTTP/1.1\r\nContent-Type: application/json\r\n"
      "Content-Length: 100\r\n\r\n{\"device";
  EXPECT_EQ(sendRaw(service.port, truncated, true), "");
  EXPECT_EQ(request(service.port, "GET", "/api/turn-credentials").status, 200);
}

TEST(HttpServer, answersSeveralRequestsOfOneConnectionInTheirOrder) {
  const RunningService service;
  const std::string replies =
      sendRaw(service.port,
              "GET /nothing HTTP/1.1\r\nHost: a\r\n\r\n"
              "GET /api/turn-credentials HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n",
              false);
  EXPECT_LT(replies.find("HTTP/1.1 404"), replies.find("HTTP/1.1 200"));
  EXPECT_NE(replies.find("HTTP/1.1 200"), std::string::npos);
}

}  // namespace
}  // namespace quorvex::service
