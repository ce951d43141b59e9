#include <gtest/gtest.h>

#include <numeric>

#include "service/AnswerSdp.h"
#include "service/HostPeer.h"
#include "service/RunningService.h"
#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using nlohmann::json;
using test::HostPeer;
using test::HostSession;
using test::Reply;
using test::RunningService;
using test::StatusTalk;

/// A host that goes the whole road to the service's answer.
class Host {
 public:
  explicit Host(std::uint16_t port, int width = 1280, int height = 720)
      : session(port), status(session), client(status.clientId()), peer(width, height) {}

  Reply offer(const std::string& sdp) const {
    return session.post(
        "/ws/offer",
        {{"sdp", sdp}, {"type", "offer"}, {"client_id", client}, {"token", session.token}});
  }
  void postCandidates() {
    for (const auto& candidate : peer.takeCandidates())
      EXPECT_EQ(session.post("/ws/ice-candidate", {{"candidate", candidate}, {"client_id", client}})
                    .status,
                204);
  }
  /// The candidates come before the offer or after it, as they do from a real host.
  void goLive(bool candidatesFirst = false) {
    const std::string sdp = peer.offer();
    if (candidatesFirst) postCandidates();
    const Reply answer = offer(sdp);
    ASSERT_EQ(answer.status, 200) << answer.error();
    EXPECT_EQ(answer.body.at("type"), "answer");
    EXPECT_EQ(answer.body.at("face_swap_ready"), true);
    ASSERT_TRUE(peer.apply(answer.body.at("sdp")));
    if (!candidatesFirst) postCandidates();
  }

  HostSession session;
  StatusTalk status;
  std::string client;
  HostPeer peer;
};

double mean(const std::vector<std::uint8_t>& plane, int stride, int x, int y, int width,
            int height) {
  double sum = 0;
  for (int row = y; row < y + height; ++row)
    sum = std::accumulate(plane.begin() + row * stride + x,
                          plane.begin() + row * stride + x + width, sum);
  return sum / width / height;
}

/// Tinted within the oval and not beside it; the frame numbers at the bottom were all read.
void expectSwapped(const HostPeer::Received& received) {
  const int stride = (received.width + 1) / 2, rows = (received.height + 1) / 2;
  const auto colour = [&](double x, double y) {
    const int left = static_cast<int>(x * stride) - 4, top = static_cast<int>(y * rows) - 4;
    return std::pair(mean(received.u, stride, left, top, 8, 8),
                     mean(received.v, stride, left, top, 8, 8));
  };
  EXPECT_NEAR(colour(0.5, 0.45).first, 175, 6);
  EXPECT_NEAR(colour(0.5, 0.45).second, 160, 6);
  EXPECT_GT(std::abs(colour(0.2, 0.45).first - 175), 20);  // a yellow bar, as painted
  EXPECT_EQ(received.unreadable, 0);
}

TEST(Media, comesBackSwappedAtTheSizeItWasSentFromTheFirstFrameOn) {
  for (const auto& [width, height] : {std::pair(1280, 720), {640, 480}}) {
    const RunningService service;
    Host host(service.port, width, height);
    host.goLive();
    ASSERT_TRUE(host.peer.receives([](const auto& received) { return received.frames >= 30; }));
    const auto received = host.peer.received();
    EXPECT_EQ(received.sizes.size(), 1U) << received.sizes.back();
    EXPECT_EQ(received.width, width);
    EXPECT_EQ(received.height, height);
    expectSwapped(received);
  }
}

TEST(Media, comesBackAtTheSizeAskedForByOption) {
  for (const PictureSize size : {PictureSize{641, 481}, PictureSize{1920, 1080}}) {
    Options options;
    options.size = size;
    const RunningService service(options);
    Host host(service.port);
    host.goLive(true);
    ASSERT_TRUE(host.peer.receives([](const auto& received) { return received.frames >= 15; }));
    const auto received = host.peer.received();
    EXPECT_EQ(received.sizes.size(), 1U) << received.sizes.back();
    EXPECT_EQ(received.width, size.width);
    EXPECT_EQ(received.height, size.height);
    expectSwapped(received);
  }
}

TEST(Media, goesOnWithANewPeerConnectionAfterANewOffer) {
  const RunningService service;
  Host host(service.port);
  host.goLive();
  ASSERT_TRUE(host.peer.receives([](const auto& received) { return received.frames > 0; }));
  HostPeer second(640, 480);  // posts no candidates: those in the answer are enough
  const Reply answer = host.offer(second.offer());
  ASSERT_EQ(answer.status, 200) << answer.error();
  ASSERT_TRUE(second.apply(answer.body.at("sdp")));
  EXPECT_TRUE(second.receives([](const auto& received) { return received.frames > 5; }));
}

TEST(Media, endsWithTheServiceWhileFramesFlow) {
  auto service = std::make_unique<RunningService>();
  Host first(service->port), second(service->port, 640, 480);
  first.goLive();
  second.goLive();
  ASSERT_TRUE(first.peer.receives([](const auto& received) { return received.frames > 5; }));
  ASSERT_TRUE(second.peer.receives([](const auto& received) { return received.frames > 5; }));
  service = nullptr;
  EXPECT_EQ(first.status.closeCode(), 0);
}

TEST(AnswerSdp, hintsTheStartBitrateOfEveryVideoCodecOnly) {
  EXPECT_EQ(withStartBitrate("m=video 9 UDP/TLS/RTP/SAVPF 96 97 98\r\n"
                             "a=rtpmap:96 VP8/90000\r\n"
                             "a=rtpmap:97 rtx/90000\r\n"
                             "a=fmtp:97 apt=96\r\n"
                             "a=rtpmap:98 VP9/90000\r\n"
                             "a=fmtp:98 profile-id=0\r\n"),
            "m=video 9 UDP/TLS/RTP/SAVPF 96 97 98\r\n"
            "a=rtpmap:96 VP8/90000\r\n"
            "a=fmtp:96 x-google-start-bitrate=2500\r\n"
            "a=rtpmap:97 rtx/90000\r\n"
            "a=fmtp:97 apt=96\r\n"
            "a=rtpmap:98 VP9/90000\r\n"
            "a=fmtp:98 profile-id=0;x-google-start-bitrate=2500\r\n");
}

}  // namespace
}  // namespace quorvex::service
