// Parts of the service that need no socket.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <iterator>
#include <sstream>

#include "linux/cameras/I420Picture.h"
#include "service/Admission.h"
#include "service/AnswerSdp.h"
#include "service/Options.h"
#include "service/SwapEffect.h"
#include "service/Tokens.h"

namespace quorvex::service {
namespace {

using testing::HasSubstr;

TEST(Options, areReadInBothSpellingsAndRefusedByTheirNames) {
  const auto parsed = [](const std::string& line) {
    std::istringstream words(line);
    return parseOptions({std::istream_iterator<std::string>(words), {}});
  };
  const auto options =
      std::get<Options>(parsed("--port=8080 --size 641x481 --faults {\"ahead\":3} "
                               "--ice-server=turn:b.example,anna,se,cret --log"));
  EXPECT_EQ(options.port, 8080);
  EXPECT_EQ(options.size.value().width, 641);
  EXPECT_EQ(options.faults.ahead, 3);
  EXPECT_EQ(options.iceServers.at(0).credential, "se,cret");
  for (const std::string wrong :
       {"--port 65536", "--port", "--size 15x480", "--size 640x480x3", "--log=yes", "stray",
        "--ice-server http://a.example", "--ice-server turn:a.example,anna", "--faults {\"a\":1}"})
    EXPECT_THAT(std::get<std::string>(parsed(wrong)),
                HasSubstr(wrong.substr(0, wrong.find_first_of(" ="))));
}

TEST(Tokens, areKnownAgainUntilTheyExpireUnlessForgedOrForeign) {
  using std::chrono::seconds;
  const auto now = std::chrono::floor<seconds>(std::chrono::system_clock::now());
  const Tokens tokens;
  const std::string token = tokens.issue(
      {.userUuid = "a user", .brand = "quorvex", .type = "device", .expiry = now + seconds(60)});
  EXPECT_EQ(tokens.verify(token, now + seconds(59)).value().userUuid, "a user");
  EXPECT_FALSE(tokens.verify(token, now + seconds(60)));
  EXPECT_FALSE(Tokens().verify(token, now));
  const std::size_t dot = token.find('.');
  const std::string other = base64Url(R"({"brand_id":"quorvex","user_uuid":"x","exp":9999999999})");
  for (const std::string& forged : {other + token.substr(dot), token.substr(0, token.size() - 1),
                                    token + "A", token.substr(0, dot), std::string(".")})
    EXPECT_FALSE(tokens.verify(forged, now)) << forged;
}

TEST(SwapEffect, leavesTheLowestTenthOfEverySize) {
  const auto face = std::make_shared<FacePicture>(
      FacePicture{9, 7, std::vector<std::uint8_t>(63, 50), std::vector<std::uint8_t>(20, 60),
                  std::vector<std::uint8_t>(20, 70)});
  SwapEffect effect;
  for (const auto& [width, height] :
       {std::pair(1280, 720), {641, 481}, {16, 16}, {4096, 16}, {17, 4095}, {640, 480}})
    for (const SwapSettings& settings :
         {SwapSettings{}, SwapSettings{face, true, true, false, true}}) {
      I420Picture picture(width, height);
      std::fill_n(picture.y(), picture.size(), 100);
      const int stride = picture.strideY(), half = picture.strideChroma();
      effect.apply({width, height, picture.y(), picture.u(), picture.v(), stride, half, half},
                   settings);
      const auto plain = [](std::uint8_t sample) { return sample == 100; };
      const int lowest = (height * 9 + 9) / 10;
      EXPECT_TRUE(std::all_of(picture.y() + lowest * stride, picture.u(), plain));
      EXPECT_TRUE(std::all_of(picture.u() + (lowest + 1) / 2 * half, picture.v(), plain));
      EXPECT_FALSE(plain(picture.u()[height * 45 / 200 * half + width / 4]));
    }
}

TEST(AnswerSdp, hintsTheStartBitrateOfEveryVideoCodecOnly) {
  const std::string hint = "x-google-start-bitrate=2500\r\n";
  const std::string start = "m=video 9 UDP/TLS/RTP/SAVPF 96 97 98\r\na=rtpmap:96 VP8/90000\r\n";
  const std::string rest = "a=rtpmap:97 rtx/90000\r\na=fmtp:97 apt=96\r\na=rtpmap:98 VP9/90000\r\n";
  EXPECT_EQ(withStartBitrate(start + rest + "a=fmtp:98 profile-id=0\r\n"),
            start + "a=fmtp:96 " + hint + rest + "a=fmtp:98 profile-id=0;" + hint);
}

struct Link : SocketLink {
  void send(std::string payload, bool) override { last = std::move(payload); }
  void close(int, std::string) override {}
  void abort() override {}
  std::string last;
};

TEST(Admission, movesTheQueueAsClientsGoReturnAndAreAdmitted) {
  ServiceLoop loop;
  Clients clients(loop, Seconds(0.05));
  Faults faults{.replies = {}, .places = 1, .ahead = 1};
  Admission admission(loop, clients, faults, Seconds(0.05));
  std::shared_ptr<Link> linkA, linkB, linkC, newerB = std::make_shared<Link>();
  std::string a, b, c;
  for (const auto& [link, id] : {std::pair(&linkA, &a), {&linkB, &b}, {&linkC, &c}})
    *id = clients.connect("", "user", *link = std::make_shared<Link>())->id;
  const auto ask = [&](const std::string& id) { return admission.ask(*clients.find(id)); };
  const auto hears = [&](const auto& link, const std::string& text) {
    loop.context().restart();
    while (link->last.find(text) == std::string::npos && loop.context().run_one()) {
    }
    return link->last.find(text) != std::string::npos;
  };
  int expected = 2;
  for (const auto& id : {a, b, c}) EXPECT_EQ(ask(id), expected++);
  EXPECT_TRUE(hears(linkC, R"("position":4,"status":"queued","total_in_queue":4)"));
  clients.disconnected(b, linkB);
  EXPECT_EQ(clients.connect(b, "user", newerB)->id, b);
  clients.disconnected(b, linkB);  // the old socket's end, reported late
  EXPECT_TRUE(hears(newerB, R"("position":3)"));
  clients.disconnected(b, newerB);
  EXPECT_TRUE(hears(linkC, R"("position":3,"status":"queued","total_in_queue":3)"));
  EXPECT_FALSE(clients.find(b));

  faults.ahead = 0;
  admission.update();
  EXPECT_TRUE(hears(linkA, R"("action":"start_connection")"));
  EXPECT_EQ(ask(c), 1);
  faults.admitsByControl = false;
  EXPECT_TRUE(hears(linkC, "not_queued"));  // the other has let its place lapse
  EXPECT_EQ(ask(a), 1);
  EXPECT_FALSE(ask(c));
}

}  // namespace
}  // namespace quorvex::service
