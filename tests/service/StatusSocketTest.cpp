#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/RunningService.h"
#include "service/ServiceTalk.h"
#include "service/StatusSocket.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using test::HostSession;
using test::RunningService;
using test::StatusTalk;
using testing::HasSubstr;

class Status : public testing::Test {
 protected:
  RunningService service;
  HostSession session{service.port};
};

TEST_F(Status, namesTheClientAndKnowsItAgain) {
  std::string id;
  {
    StatusTalk first(session);
    const json identity = first.receive().value();
    EXPECT_EQ(identity.at("type"), "identity");
    id = identity.at("client_id");
    first.close();
  }
  EXPECT_EQ(StatusTalk(session, id).clientId(), id);
  EXPECT_NE(StatusTalk(session).clientId(), id);
  EXPECT_NE(StatusTalk(session, "unknown").clientId(), "unknown");
  EXPECT_NE(StatusTalk(HostSession(service.port), id).clientId(), id);
}

TEST_F(Status, closesARefusedTokenWith4001) {
  EXPECT_EQ(StatusTalk(service.port, "user_uuid=" + session.userUuid, "x.y").closeCode(), 4001);
  EXPECT_EQ(StatusTalk(service.port, "user_uuid=somebody", session.token).closeCode(), 4001);
}

TEST_F(Status, closesTheOlderSocketOfAClient) {
  StatusTalk older(session);
  const std::string id = older.clientId();
  StatusTalk newer(session, id);
  EXPECT_EQ(newer.clientId(), id);
  EXPECT_EQ(older.closeCode(), 1000);
}

TEST_F(Status, takesWhatAHostSaysWithoutAWord) {
  StatusTalk status(session);
  const std::string id = status.clientId();
  const auto say = [&](json message) {
    message["client_id"] = id;
    status.send(message.dump());
  };
  say({{"type", "device_info"},
       {"device_info",
        {{"os", "macOS"}, {"app", "quorvex-camera"}, {"userUuid", session.userUuid}}}});
  say({{"type", "config_update"}, {"config", {{"mouth_mask", true}}}});
  say({{"type", "config_update"}, {"config", {{"paused", false}}}});
  say({{"type", "config_update"}, {"config", {{"target_face_b64", "AAAA"}, {"enhance", true}}}});
  say({{"type", "config_update"}, {"config", {{"target_face_b64", ""}}}});
  say({{"type", "calibrate"}});
  say({{"type", "clear_lock"}});
  say({{"type", "the end"}});
  EXPECT_THAT(status.receive().value().at("message"), HasSubstr("\"type\""));
}

TEST_F(Status, answersWhatIsWrongWithAnError) {
  StatusTalk status(session);
  const std::string id = status.clientId();
  const auto complaint = [&](const std::string& payload, bool isText = true) -> std::string {
    status.send(payload, isText);
    const json error = status.receive().value();
    EXPECT_EQ(error.at("type"), "error");
    EXPECT_EQ(error.at("error_type"), "BAD_MESSAGE");
    return error.at("message");
  };
  const auto about = [&](json message) {
    message["client_id"] = id;
    return complaint(message.dump());
  };
  EXPECT_THAT(complaint("no JSON"), HasSubstr("JSON object"));
  EXPECT_THAT(complaint(std::string(100'000, '{')), HasSubstr("JSON object"));
  EXPECT_THAT(complaint("{}", false), HasSubstr("text frame"));
  EXPECT_THAT(complaint("{}"), HasSubstr("\"type\""));
  EXPECT_THAT(complaint(R"({"type":"calibrate","client_id":"other"})"), HasSubstr("\"client_id\""));
  EXPECT_THAT(about({{"type", "dance"}}), HasSubstr("\"type\""));
  EXPECT_THAT(about({{"type", "calibrate"}, {"x", 1}}), HasSubstr("\"x\""));
  EXPECT_THAT(about({{"type", "device_info"}, {"device_info", {{"os", 7}}}}),
              HasSubstr("\"device_info.os\""));
  EXPECT_THAT(about({{"type", "device_info"},
                     {"device_info", {{"os", "a"}, {"app", "b"}, {"userUuid", "c"}}}}),
              HasSubstr("\"device_info.userUuid\""));
  EXPECT_THAT(about({{"type", "config_update"}, {"config", json::object()}}),
              HasSubstr("at least one"));
  EXPECT_THAT(about({{"type", "config_update"}, {"config", {{"paused", "no"}}}}),
              HasSubstr("\"config.paused\""));
  // The name is quoted cut off within a character.
  EXPECT_THAT(about({{"type", "calibrate"}, {std::string(63, 'x') + "\u00e9", 1}}),
              HasSubstr("xxx"));
}

TEST_F(Status, closesAMessageThatIsTooLargeWith1009) {
  StatusTalk status(session);
  (void)status.clientId();
  status.send(std::string((8 << 20) + 1, ' '));
  EXPECT_EQ(status.closeCode(), 1009);
}

TEST_F(Status, turnsAwayMoreClientsThanItHolds) {
  std::vector<std::unique_ptr<StatusTalk>> held;
  for (std::size_t i = 0; i < Clients::kMost; ++i) {
    held.push_back(std::make_unique<StatusTalk>(session));
    (void)held.back()->clientId();
  }
  EXPECT_EQ(StatusTalk(session).closeCode(), 1013);
}

/// Only counts.
class CountedLink : public SocketLink {
 public:
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
