// The service's protocol, and how it is broken on demand, over real sockets.
#include <gmock/gmock.h>

#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using namespace test;
using namespace testing;

constexpr const char *kMint = "/api/session-token", *kOffer = "/ws/offer",
                     *kCandidate = "/ws/ice-candidate", *kFaults = "/control/faults";

using Talk = ServiceTest;

TEST_F(Talk, refusesWrongPathsMethodsAndBodies) {
  const struct {
    const char *method, *path, *expected;
    std::string body;
    Headers headers = kJson;
  } kCases[] = {{"DELETE", kMint, "405 .*POST only", ""},
                {"GET", "/ws/status", "426 .*", ""},
                {"POST", kMint, "400 .*JSON object.*", std::string(100'000, '[')},
                {"POST", kMint, "400 .*JSON object.*", "{\"device_id\":\"\xff\"}"},
                {"POST", kMint, "413 .*8 MiB.*", std::string((8 << 20) + 1, ' ')},
                {"GET", "/", "431 .*", "", {{"X-Large", std::string(17 << 10, 'x')}}},
                {"POST", kFaults, "400 .*palces.*", R"({"identity":false,"palces":1})"},
                {"POST", kFaults, "400 .*\"places\".*from 0.*", R"({"ahead":2,"places":-1})"},
                {"POST", kFaults, "400 .*replies.offers.*", R"({"replies":{"offers":null}})"},
                {"POST", "/control/socket", "400 .*\"close\".*", R"({"close":1005})"}};
  const json faults = service.state().at("faults");
  for (const auto& [method, path, expected, body, headers] : kCases)
    EXPECT_THAT(request(service.port, method, path, headers, body).refusal(),
                MatchesRegex(expected));
  EXPECT_EQ(service.state().at("faults"), faults);
  for (const std::string& noise : {std::string("gibberish\r\n\r\n"), std::string(64, '\0')})
    EXPECT_THAT(sendRaw(service.port, noise), StartsWith("HTTP/1.1 400 "));
  EXPECT_EQ(sendRaw(service.port, "POST / HTTP/1.1\r\nContent-Length: 9\r\n\r\n{\"", true), "");
}

TEST_F(Talk, refusesOffersAndCandidatesThatAreSpoiltInOnePlace) {
  const HostSession other(service.port);
  StatusTalk status(session);
  const json whose = {{"client_id", status.clientId()}};
  const json sound = json::parse(R"({
    "/ws/offer": {"sdp": "v=0", "type": "offer",
      "face_swap_config": {"target_face_b64": "", "enhance": true}},
    "/ws/ice-candidate": {"candidate": {"sdpMid": "0", "sdpMLineIndex": 0,
      "candidate": "candidate:1 1 udp 2122260223 127.0.0.1 40000 typ host"}}})");
  const struct {
    const char *path, *expected, *changes = "{}";
    Headers headers{};
  } kCases[] = {
      {kOffer, "400 .*\"sdp\" is no session description.*"},
      {kOffer, "400 .*\"token\".*", R"({"token":"other"})"},
      {kOffer, "404 .*\"client_id\".*", R"({"client_id":"unknown"})"},
      {kOffer, "400 .*enhance.*true or false.*", R"({"face_swap_config":{"enhance":1}})"},
      {kOffer, "400 .*JPEG.*", R"({"face_swap_config":{"target_face_b64":"AAAA"}})"},
      {kOffer, "401 .*token.*", "{}", {{"Authorization", "Bearer x.y"}}},
      {kOffer, "403 .*X-Brand-Id.*", "{}", {{"X-Brand-Id", "other"}}},
      {kCandidate, "204 "},
      {kCandidate, "400 .*candidate.candidate.*ICE.*", R"({"candidate":{"candidate":"no"}})"},
      {kCandidate, "403 .*client_id.*", "{}", {{"Authorization", "Bearer " + other.token}}}};
  for (const auto& [path, expected, changes, headers] : kCases) {
    json body = sound.at(path);
    body.update(whose);
    if (path == std::string(kOffer)) body["token"] = session.token;
    body.merge_patch(json::parse(changes));
    Headers all = headers;
    all.insert(session.headers.begin(), session.headers.end());
    EXPECT_THAT(request(service.port, "POST", path, all, body.dump()).refusal(),
                MatchesRegex(expected));
  }
  // What is refused takes no place.
  EXPECT_TRUE(eventually([&] { return !service.state()["clients"][0]["live"]; }));
}

TEST_F(Talk, takesRightMessagesInSilenceAndAnswersWrongOnesWithAnError) {
  StatusTalk status(session);
  const std::string id = status.clientId();
  const auto said = [&](const std::string& members) {
    return R"({"client_id":")" + id + R"(","type":)" + members + "}";
  };
  const std::string info = R"("device_info","device_info":{"os":"a","app":"b","userUuid":")";
  const struct {
    std::string payload, expected;
    bool isText = true;
  } kCases[] = {{said(info + session.userUuid + "\"}"), ""},
                {said(info + "c\"}"), "\"device_info.userUuid\""},
                {said(R"("config_update","config":{"mouth_mask":true,"paused":false})"), ""},
                {said(R"("config_update","config":{"paused":"no"})"), "\"config.paused\""},
                // The name is quoted cut off within a character.
                {said(R"("calibrate",")" + std::string(63, 'x') + "\u00e9\":1"), "xxx"},
                {said(R"("dance")"), "\"type\""},
                {R"({"type":"calibrate","client_id":"other"})", "\"client_id\""},
                {"{}", "text frame", false}};
  for (const auto& [payload, expected, isText] : kCases) {
    status.send(payload, isText);
    if (expected.empty()) continue;
    const json error = status.receive().value();
    EXPECT_EQ(error.at("error_type"), "BAD_MESSAGE");
    EXPECT_THAT(error.at("message"), HasSubstr(expected));
  }
  status.send(std::string((8 << 20) + 1, ' '));
  EXPECT_EQ(status.closeCode(), 1009);
  for (const auto part : {&HostSession::token, &HostSession::userUuid}) {
    HostSession forged = session;
    forged.*part = "x.y";
    EXPECT_EQ(StatusTalk(forged).closeCode(), 4001);
  }
}

TEST_F(Talk, saysWhyAnotherCannotStart) {
  const std::string port = std::to_string(service.port);
  const std::pair<std::vector<std::string>, int> kCases[] = {
      {{"--size", "15x480"}, 2},
      {{"--ice-server", "turn:a.example,anna"}, 2},
      {{"--port", port}, 1}};
  for (const auto& [options, code] : kCases) {
    const std::string output = service.folder / options[0];
    ChildProcess other({SERVICE_PROGRAM, options[0], options[1]}, "", output);
    EXPECT_EQ(other.exitCode(), code);
    EXPECT_THAT(contentOf(output), AllOf(HasSubstr(options[0]), HasSubstr(options[1])));
  }
}

}  // namespace
}  // namespace quorvex::service
