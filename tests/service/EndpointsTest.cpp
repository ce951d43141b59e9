#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using namespace test;
using namespace testing;

const Headers kJson = {{"Content-Type", "application/json"}};
constexpr const char* kMint = "/api/session-token";
constexpr const char* kReport = "/api/diagnostic-report";
constexpr const char* kOffer = "/ws/offer";
constexpr const char* kCandidate = "/ws/ice-candidate";

TEST(Endpoints, keepTheUserOfADeviceIdTheyHaveGivenOut) {
  const RunningService service;
  const HostSession first(service.port, "3f0c1d5e-0000-4000-8000-000000000000");
  EXPECT_EQ(HostSession(service.port, first.userUuid).userUuid, first.userUuid);
  const std::string forged = std::string(35, 'x') + first.userUuid.back();
  EXPECT_NE(HostSession(service.port, forged).userUuid, forged);
}

TEST(Endpoints, handOutTheIceServersWithoutAuthorization) {
  Options options;
  options.iceServers = {{.url = "stun:a.example", .username = {}, .credential = {}},
                        {.url = "turn:b.example", .username = "anna", .credential = "secret"}};
  const RunningService service(options);
  const auto reply = request(service.port, "GET", "/api/turn-credentials");
  EXPECT_EQ(reply.body, json::parse(R"({"iceServers":[{"urls":["stun:a.example"]},
      {"urls":["turn:b.example"],"username":"anna","credential":"secret"}]})"));
}

TEST(Endpoints, refuseWrongPathsMethodsAndBodies) {
  const RunningService service;
  const struct {
    const char *method, *path, *expected;
    std::string body;
    Headers headers = kJson;
  } kCases[] = {
      {"GET", "/nothing", "404 .*", ""},
      {"DELETE", "/api/session-token", "405 .*", ""},
      {"HEAD", "/api/turn-credentials", "405 .*", ""},
      {"GET", "/ws/status", "426 .*", ""},
      {"POST", kMint, "400 .*device_id.*missing.*", "{}"},
      {"POST", kMint, "400 .*device_id.*not empty.*", R"({"device_id":""})"},
      {"POST", kMint, "400 .*\"x\" is unknown.*", R"({"device_id":"a","x":1})"},
      {"POST", kMint, "400 .*JSON object.*", std::string(100'000, '[')},
      {"POST", kMint, "400 .*JSON object.*", "{\"device_id\":\"\xff\"}"},
      {"POST", kMint, "415 .*", "{}", {{"Content-Type", "text/plain"}}},
      {"POST", kMint, "413 .*8 MiB.*", std::string((8 << 20) + 1, ' ')},
      {"GET", "/", "431 .*", "", {{"X-Large", std::string(17 << 10, 'x')}}},
      {"POST", kReport, "400 .*note.*", R"({"traceId":"A","connectionError":"x","note":7})"},
      {"POST", kReport, "204 ", R"({"traceId":"ABCD-2345","connectionError":"gone","note":"n"})"}};
  for (const auto& [method, path, expected, body, headers] : kCases)
    EXPECT_THAT(request(service.port, method, path, headers, body).refusal(),
                MatchesRegex(expected));
  EXPECT_THAT(request(service.port, "GET", "/ws/offer").head, HasSubstr("\r\nAllow: POST"));
}

/// A client whose offers and candidates would be taken, were they not spoilt in one place.
class SpoiltRequests : public ::testing::Test {
 protected:
  [[nodiscard]] std::string refusal(const std::string& path, const json& changes,
                                    const Headers& headers = {}) const {
    json body = sound.at(path);
    body["client_id"] = client;
    if (path == kOffer) body["token"] = session.token;
    body.merge_patch(changes);
    Headers all = headers;
    all.insert(session.headers.begin(), session.headers.end());
    return request(service.port, "POST", path, all, body.dump()).refusal();
  }

  const RunningService service;
  const HostSession session{service.port};
  StatusTalk status{session};
  const std::string client = status.clientId();
  const json sound = json::parse(R"({
    "/ws/offer": {"sdp": "v=0", "type": "offer",
      "face_swap_config": {"target_face_b64": "AAAA", "enhance": true}},
    "/ws/ice-candidate": {"candidate": {"sdpMid": "0", "sdpMLineIndex": 0,
      "candidate": "candidate:1 1 udp 2122260223 127.0.0.1 40000 typ host"}}})");
};

TEST_F(SpoiltRequests, areRefusedByTheirHeaders) {
  const HostSession other(service.port);
  const std::string theirs = other.headers.at("Authorization");
  for (const char* path : {kOffer, kCandidate}) {
    const json token = path == kOffer ? json{{"token", other.token}} : json::object();
    EXPECT_THAT(refusal(path, token, {{"Authorization", theirs}}),
                MatchesRegex("403 .*client_id.*"));
    for (const auto& [name, value, expected] :
         {std::tuple("Authorization", "Bearer x.y", "401 .*token.*"),
          {"Authorization", "x.y", "401 .*Authorization.*"},
          {"X-Brand-Id", "other", "403 .*X-Brand-Id.*"},
          {"Content-Type", "text/plain", "415 .*Content-Type.*"}})
      EXPECT_THAT(refusal(path, json::object(), {{name, value}}), MatchesRegex(expected));
  }
}

TEST_F(SpoiltRequests, areRefusedByTheirMembers) {
  const struct {
    const char *path, *changes, *expected;
  } kCases[] = {
      {kOffer, R"({})", "400 .*\"sdp\" is no session description.*"},
      {kOffer, R"({"sdp":"v=0\r\no=- 1 2 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n"})",
       "400 .*must offer video.*"},
      {kOffer, R"({"type":"answer"})", "400 .*\"type\" must be \"offer\".*"},
      {kOffer, R"({"token":"other"})", "400 .*\"token\".*"},
      {kOffer, R"({"client_id":"unknown"})", "404 .*\"client_id\".*"},
      {kOffer, R"({"face_swap_config":{"enhance":1}})", "400 .*enhance.*true or false.*"},
      {kOffer, R"({"face_swap_config":{"target_face_b64":"A-_="}})", "400 .*standard base64.*"},
      {kCandidate, R"({"candidate":{"candidate":"nonsense"}})", "400 .*candidate.candidate.*ICE.*"},
      {kCandidate, R"({"candidate":{"sdpMLineIndex":4294967296}})", "400 .*Index.*32 bits.*"}};
  for (const auto& [path, changes, expected] : kCases)
    EXPECT_THAT(refusal(path, json::parse(changes)), MatchesRegex(expected));
}

TEST(HttpServer, refusesWhatIsUnreadableAndServesOn) {
  const RunningService service;
  for (const std::string& noise : {std::string("gibberish\r\n\r\n"), std::string(64, '\0')})
    EXPECT_THAT(sendRaw(service.port, noise), StartsWith("HTTP/1.1 400 "));
  const std::string truncated =
      "POST /api/session-token HTTP/1.1\r\nContent-Type: application/json\r\n"
      "Content-Length: 100\r\n\r\n{\"device";
  EXPECT_EQ(sendRaw(service.port, truncated, true), "");
  EXPECT_EQ(request(service.port, "GET", "/api/turn-credentials").status, 200);
}

}  // namespace
}  // namespace quorvex::service
