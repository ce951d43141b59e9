#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/Clients.h"
#include "service/ServiceTalk.h"
#include "service/StatusSocket.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using namespace test;
using testing::HasSubstr;

class Status : public ::testing::Test {
 protected:
  RunningService service;
  HostSession session{service.port};
};

TEST_F(Status, namesTheClientAndKnowsItAgainForItsUserOnly) {
  StatusTalk older(session);
  const json identity = older.receive().value();
  EXPECT_EQ(identity.at("type"), "identity");
  const std::string id = identity.at("client_id");
  EXPECT_NE(StatusTalk(session).clientId(), id);
  EXPECT_NE(StatusTalk(session, "unknown").clientId(), "unknown");
  EXPECT_NE(StatusTalk(HostSession(service.port), id).clientId(), id);
  EXPECT_EQ(StatusTalk(session, id).clientId(), id);
  EXPECT_EQ(older.closeCode(), 1000);
}

TEST_F(Status, closesARefusedTokenWith4001) {
  HostSession forged = session, foreign = session;
  forged.token = "x.y";
  foreign.userUuid = "somebody";
  EXPECT_EQ(StatusTalk(forged).closeCode(), 4001);
  EXPECT_EQ(StatusTalk(foreign).closeCode(), 4001);
}

TEST_F(Status, takesWhatIsRightInSilenceAndAnswersWhatIsWrongWithAnError) {
  StatusTalk status(session);
  const std::string id = status.clientId();
  const auto said = [&](const std::string& members) {
    return R"({"client_id":")" + id + R"(","type":)" + members + "}";
  };
  const std::string info = R"("device_info","device_info":{"os":"a","app":"b","userUuid":")";
  const std::string silence;
  const struct {
    std::string payload, expected;
    bool isText = true;
  } kCases[] = {{said(info + session.userUuid + "\"}"), silence},
                {said(info + "c\"}"), "\"device_info.userUuid\""},
                {said(R"("config_update","config":{"mouth_mask":true,"paused":false})"), silence},
                {said(R"("config_update","config":{})"), "at least one"},
                {said(R"("config_update","config":{"paused":"no"})"), "\"config.paused\""},
                {said(R"("calibrate")"), silence},
                {said(R"("calibrate","x":1)"), "\"x\""},
                // The name is quoted cut off within a character.
                {said(R"("calibrate",")" + std::string(63, 'x') + "\u00e9\":1"), "xxx"},
                {said(R"("dance")"), "\"type\""},
                {R"({"type":"calibrate","client_id":"other"})", "\"client_id\""},
                {"no JSON", "JSON object"},
                {std::string(100'000, '{'), "JSON object"},
                {"{}", "text frame", false}};
  for (const auto& [payload, expected, isText] : kCases) {
    status.send(payload, isText);
    if (expected == silence) continue;
    const json error = status.receive().value();
    EXPECT_EQ(error.at("type"), "error");
    EXPECT_EQ(error.at("error_type"), "BAD_MESSAGE");
    EXPECT_THAT(error.at("message"), HasSubstr(expected));
  }
}

TEST_F(Status, closesAMessageThatIsTooLargeWith1009) {
  StatusTalk status(session);
  status.send(std::string((8 << 20) + 1, ' '));
  EXPECT_EQ(status.closeCode(), 1009);
}

struct CountedLink : SocketLink {
  void send(std::string) override {}
  void close(int, std::string) override { ++closed; }
  int closed = 0;
};

TEST(Clients, areForgottenWhenTheyStayAwayAndKeptWhenTheyReturn) {
  ServiceLoop loop;
  Clients clients(loop, Seconds(0.05));
  const auto link = std::make_shared<CountedLink>();
  const std::string gone = clients.connect("", "user", link)->id;
  const std::string back = clients.connect("", "user", link)->id;
  clients.disconnected(gone, link);
  clients.disconnected(back, link);
  const auto newer = std::make_shared<CountedLink>();
  EXPECT_EQ(clients.connect(back, "user", newer)->id, back);
  clients.disconnected(back, link);  // the old socket's end, reported late
  const auto end = loop.after(Seconds(0.2), [&] { loop.stop(); });
  loop.run();
  EXPECT_FALSE(clients.find(gone));
  EXPECT_TRUE(clients.find(back));
  EXPECT_EQ(link->closed, 0);
}

}  // namespace
}  // namespace quorvex::service
