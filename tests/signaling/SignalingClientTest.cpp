#include <gmock/gmock.h>

#include "fakes/FakeService.h"
#include "fakes/ManualQueue.h"
#include "signaling/OfferReply.h"
#include "signaling/SignalingClient.h"

namespace quorvex {
namespace {

using namespace testing;

struct Listener : SignalingClientDelegate {
  void signalingDidFail(const std::string& message) override {
    events.push_back("fail " + message);
  }
  void signalingDidReceiveIdentity() override { events.push_back("identity"); }
  void promoteFromQueue() override { events.push_back("promote"); }
  void signalingDidReceiveQueueStatus(const std::string& status,
                                      std::optional<std::int64_t> position,
                                      std::optional<std::int64_t> total) override {
    events.push_back(status + " " + std::to_string(position.value_or(-1)) + "/" +
                     std::to_string(total.value_or(-1)));
  }
  void signalingDidReceiveMessage(const Json& message) override {
    events.push_back("message " + message["type"].get<std::string>());
  }
  std::vector<std::string> take() { return std::exchange(events, {}); }
  std::vector<std::string> events;
};

class SignalingClientTest : public SteeredTest {
 protected:
  SignalingClientTest() { client->setDelegate(listener); }

  std::string mint() {
    std::string outcome = "nothing";
    client->mintSession([&](const auto& result) {
      if (const auto* session = std::get_if<SignalingSession>(&result))
        outcome = session->type + " " + session->userUUID + " " + session->brandID + " " +
                  session->clientID.value_or("-");
      else
        outcome = std::get<SignalingError>(result).localizedDescription;
    });
    mainQueue.run();
    if (!http.pending.empty()) {
      const auto asked = http.take("api/session-token");
      lastBody = asked.request.body.value_or("");
      asked.completion(answer);
    }
    mainQueue.run();
    return outcome;
  }
  void open() {
    mint();
    client->connectStatusSocket();
    say(R"({"type":"identity","client_id":"c1"})");
    listener->take();
  }
  void say(const std::string& text, WebSocketMessage::Kind kind = WebSocketMessage::Kind::text) {
    sockets.last().say(text, kind);
    mainQueue.run();
  }
  std::vector<std::string> heard(const std::string& text) {
    say(text);
    return listener->take();
  }
  static HttpResult ok(std::string body) { return {std::nullopt, 200, {}, std::move(body)}; }

  FakeHttp http;
  FakeWebSockets sockets;
  FakeDefaults defaults;
  std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  std::shared_ptr<SignalingClient> client = std::make_shared<SignalingClient>(
      SignalingClient::Dependencies{mainQueue,
                                    http,
                                    sockets,
                                    defaults,
                                    {"https://web.example/", "https://api.example",
                                     "wss://api.example", "stun.example", ""}});
  HttpResult answer = ok(R"({"token":"t.x","user_uuid":"u1","type":"device"})");
  std::string lastBody;
};

TEST_F(SignalingClientTest, mintsADeviceSessionAndSendsTheServicesIdFromThenOn) {
  defaults.values["rc.deviceIdentifier.v1"] = "";
  EXPECT_EQ(mint(), "device u1 quorvex -");
  EXPECT_THAT(Json::parse(lastBody)["device_id"].get<std::string>(),
              ::testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                                      "[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  answer = ok(R"({"token":"eyJicmFuZF9pZCI6ImFjbWUifQ.x","user_uuid":"u"})");
  EXPECT_EQ(mint(), "device u acme -");
  EXPECT_EQ(Json::parse(lastBody)["device_id"], "u1");
  EXPECT_THAT(log.lines(), Contains("signaling: minted token type=device brand=quorvex"));
  for (const char* none : {"eyJicmFuZF9pZCI6ImFjbWUifQ", "e30.x", "!!!!.x", "."})
    EXPECT_EQ(brandClaim(none), std::nullopt);
}

TEST_F(SignalingClientTest, saysWhyTheServiceGrantedNoSession) {
  const std::vector<std::pair<HttpResult, std::string>> cases{
      {{"no route", 0, {}, {}}, "no route"},
      {{{}, 0, {}, {}}, "no HTTP response"},
      {{{}, 500, {}, "busy"}, "session-token 500: busy"},
      {{{}, 500, {}, "\xff\xfe"}, "session-token 500: "},
      {{{}, 200, {}, {}}, "session-token 200: "},
      {ok("<html>"), "session-token: malformed JSON"},
      {ok(R"({"token":1,"user_uuid":"u"})"), "session-token: malformed JSON"},
      {ok(R"({"token":"t"})"), "session-token: malformed JSON"},
      {ok(std::string(100'000, '[')), "session-token: malformed JSON"}};
  for (const auto& [reply, expected] : cases) {
    answer = reply;
    EXPECT_EQ(mint(), expected);
  }
}

TEST_F(SignalingClientTest, opensTheSocketWithTokenAndIdsAndAnswersIdentity) {
  client->connectStatusSocket();
  EXPECT_THAT(listener->take(), ElementsAre("fail no token"));
  mint();
  client->connectStatusSocket();
  EXPECT_EQ(sockets.last().request.url, "wss://api.example/ws/status?user_uuid=u1");
  EXPECT_EQ(sockets.last().request.headers.at("Authorization"), "Bearer t.x");
  EXPECT_THAT(heard(R"({"type":"identity"})"), ElementsAre("fail identity without client_id"));
  EXPECT_THAT(heard(R"({"type":"identity","client_id":"c 1"})"), ElementsAre("identity"));
  EXPECT_EQ(Json::parse(sockets.last().sent.at(0)),
            Json::parse(R"({"type":"device_info","client_id":"c 1","device_info":
                {"os":"macOS","app":"quorvex-camera","userUuid":"u1"}})"));
  EXPECT_EQ(mint(), "device u1 quorvex c 1") << "a new session asks for the same client";
  client->connectStatusSocket();
  EXPECT_EQ(sockets.last().request.url, "wss://api.example/ws/status?client_id=c%201&user_uuid=u1");
  EXPECT_THAT(log.lines(), Contains("signaling: WS connecting (reconnect=true)"));
}

TEST_F(SignalingClientTest, routesWhatTheServiceSays) {
  open();
  for (const auto& [text, expected] :
       {std::pair{R"("control","action":"start_connection"})", "promote"},
        {R"("control","action":"dance"})", "message control"},
        {R"("status_update","status":"queued","position":3})", "queued 3/-1"},
        {R"("status_update","status":"queued","position":3.5,"total_in_queue":9})", "queued -1/9"},
        {R"("status_update","status":"lost"})", "message status_update"},
        {R"("error","error_type":"PAUSE_TIMEOUT"})", "fail PAUSE_TIMEOUT"},
        {R"("error"})", "message error"}})
    EXPECT_THAT(heard("{\"type\":" + std::string(text)), ElementsAre(expected));
  say(R"({"type":"fps_suggestion","fps":15})", WebSocketMessage::Kind::binary);
  EXPECT_THAT(listener->take(), ElementsAre("message fps_suggestion"));
  for (const char* nonsense : {"", "[]", "{}", "{\"type\":7}", "\xff", "{\"type\":\"x\""})
    EXPECT_THAT(heard(nonsense), IsEmpty()) << nonsense;
  EXPECT_THAT(log.lines(), Contains("signaling: status_update queued position=3 total=-"));
}

TEST_F(SignalingClientTest, ignoresASocketThatHasBeenReplacedOrDropped) {
  open();
  auto old = sockets.opened.back();
  client->connectStatusSocket();
  old->say(R"({"type":"identity","client_id":"stale"})");
  mainQueue.run();
  EXPECT_THAT(listener->take(), IsEmpty());
  auto current = sockets.opened.back();
  client->disconnectStatusSocket();
  EXPECT_EQ(current->cancelledWith, 1001);
  current->end(1006);
  mainQueue.run();
  EXPECT_THAT(listener->take(), IsEmpty());
}

TEST_F(SignalingClientTest, sendsNothingToAServiceThatDoesNotKnowItAndNoSecretToTheLog) {
  answer = ok(R"({"token":"sekret.token","user_uuid":"u1"})");
  mint();
  client->connectStatusSocket();
  client->sendConfig({{"paused", true}});
  client->sendIceCandidate({"early", {}, 0});
  mainQueue.run();
  EXPECT_THAT(sockets.last().sent, IsEmpty());
  EXPECT_TRUE(http.pending.empty());
  open();
  sockets.last().sendError = "broken pipe";
  client->sendConfig({{"paused", true}});
  client->sendIceCandidate({"candidate:1", std::nullopt, 0});
  client->postOffer("v=0 sekret-sdp", Json{{"enhance", false}}, [](auto) {});
  mainQueue.run();
  EXPECT_EQ(Json::parse(*http.take("/ws/ice-candidate").request.body),
            Json::parse(R"({"candidate":{"candidate":"candidate:1","sdpMid":null,
                "sdpMLineIndex":0},"client_id":"c1"})"));
  const auto offer = http.take("/ws/offer");
  offer.completion(ok(R"({"sdp":"sekret-answer"})"));
  EXPECT_THAT(log.lines(), Contains("signaling: WS send error: broken pipe"));
  EXPECT_EQ(log.text().find("sekret"), std::string::npos) << log.text();
}

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
