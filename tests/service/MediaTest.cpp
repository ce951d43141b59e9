#include <gtest/gtest.h>

#include <mutex>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternCamera.h"
#include "linux/webrtc/NativeRtcEngine.h"
#include "service/AnswerSdp.h"
#include "service/ServiceTalk.h"
#include "support/Eventually.h"

namespace quorvex::service {
namespace {

using namespace test;

/// A host's end of the peer connection, on the host's own engine: sends the test pattern at 30 fps
/// and looks at what the service sends back.
class HostPeer : public RtcPeerConnectionObserver, public RtcVideoRenderer {
 public:
  struct Received {
    int width, height;
    bool isNumbered;  ///< its number can still be read
    double u, v;      ///< its colour amid the oval
  };

  HostPeer(int width, int height) {
    const auto camera = std::make_shared<PatternCamera>(std::make_shared<FrameLedger>());
    const auto factory = NativeRtcEngine(camera, true).peerConnectionFactory();
    const auto source = factory->videoSource();
    peer = factory->peerConnection({}, {}, self);
    (void)peer->addTrack(factory->videoTrack(source, "rc_cam0"), {"rc_stream0"});
    capturer = factory->cameraCapturer(source);
    const auto device = camera->captureDevices()[0];
    finish([&](auto done) {
      capturer->startCaptureWithDevice(device, {width, height, 0, {}}, 30, done);
    });
  }
  ~HostPeer() override {
    capturer = nullptr;
    peer->close();
    track = nullptr;
  }

  std::string offer() {
    const auto offered = std::make_shared<std::promise<RtcSessionDescription>>();
    peer->offerForConstraints(
        {{{"OfferToReceiveVideo", "true"}}, {}},
        [offered](const auto& made, auto) { offered->set_value(made.value()); });
    const auto local = offered->get_future().get();
    finish([&](auto done) { peer->setLocalDescription(local, done); });
    return local.sdp;
  }
  /// As the host posts them: at least one.
  std::vector<nlohmann::json> firstCandidates() { return whenThereAre(1, candidates); }
  void apply(const std::string& answer) {
    const RtcSessionDescription remote{RtcSessionDescription::Type::answer, answer};
    finish([&](auto done) { peer->setRemoteDescription(remote, done); });
  }
  /// One for each frame that has come, when there are `count`, or fewer after some time.
  std::vector<Received> received(std::size_t count) { return whenThereAre(count, frames); }

 private:
  /// Starts an operation of the engine and waits until it completes.
  template <class Start>
  static void finish(const Start& start) {
    const auto completed = std::make_shared<std::promise<std::optional<std::string>>>();
    start([completed](const auto& error) { completed->set_value(error); });
    if (const auto error = completed->get_future().get()) throw std::runtime_error(*error);
  }
  template <class Item>
  std::vector<Item> whenThereAre(std::size_t count, const std::vector<Item>& items) {
    std::vector<Item> seen;
    (void)quorvex::test::eventually([&] {
      const std::lock_guard hold(mutex);
      seen = items;
      return seen.size() >= count;
    });
    return seen;
  }
  /// The mean of 8x8 samples amid the oval.
  static double mean(const std::uint8_t* plane, int stride, const I420View& of) {
    int sum = 0;
    for (int i = 0; i < 64; ++i)
      sum += plane[(of.height * 9 / 40 - 4 + i / 8) * stride + of.width / 4 - 4 + i % 8];
    return sum / 64.0;
  }

  void didAddReceiver(const RtcRtpReceiver& receiver) override {
    track = receiver.videoTrack;
    track->addRenderer(self);
  }
  void didGenerateIceCandidate(const RtcIceCandidate& made) override {
    const std::lock_guard hold(mutex);
    candidates.push_back({{"candidate", made.sdp},
                          {"sdpMid", made.sdpMid.value()},
                          {"sdpMLineIndex", made.sdpMLineIndex}});
  }
  void didChangeIceConnectionState(RtcIceConnectionState) override {}
  void setSize(int, int) override {}
  void renderFrame(const RtcVideoFrame* frame) override {
    const I420View& view = frame->i420;
    const std::lock_guard hold(mutex);
    frames.push_back(
        {view.width, view.height,
         readFrameStamp(view.dataY, view.strideY, {0, 0, view.width, view.height}).has_value(),
         mean(view.dataU, view.strideU, view), mean(view.dataV, view.strideV, view)});
  }

  const std::shared_ptr<HostPeer> self{this, [](HostPeer*) {}};  // owns nothing
  std::shared_ptr<RtcPeerConnection> peer;
  std::shared_ptr<RtcCameraVideoCapturer> capturer;
  std::shared_ptr<RtcVideoTrack> track;
  std::mutex mutex;
  // State below is protected by mutex.
  std::vector<nlohmann::json> candidates;
  std::vector<Received> frames;
};

/// A host that goes the whole road to the service's answer.
struct Host {
  explicit Host(std::uint16_t port, int width = 1280, int height = 720)
      : session(port), status(session), client(status.clientId()), peer(width, height) {}

  void offer(HostPeer& from) const {
    const auto answer = session.post("/ws/offer", {{"sdp", from.offer()},
                                                   {"type", "offer"},
                                                   {"client_id", client},
                                                   {"token", session.token}});
    ASSERT_EQ(answer.status, 200) << answer.refusal();
    EXPECT_EQ(answer.body.at("face_swap_ready"), true);
    from.apply(answer.body.at("sdp"));
  }
  void goLive() {
    ASSERT_NO_FATAL_FAILURE(offer(peer));
    for (const auto& candidate : peer.firstCandidates()) {
      const nlohmann::json body = {{"candidate", candidate}, {"client_id", client}};
      EXPECT_EQ(session.post("/ws/ice-candidate", body).status, 204);
    }
  }

  HostSession session;
  StatusTalk status;
  std::string client;
  HostPeer peer;
};

TEST(Media, comesBackSwappedAtTheSizeSentOrAskedForFromTheFirstFrameOn) {
  const struct {
    PictureSize sent;
    std::optional<PictureSize> asked;
  } kCases[] = {{{1280, 720}, {}},
                {{640, 480}, {}},
                {{1280, 720}, PictureSize{641, 481}},
                {{1280, 720}, PictureSize{1920, 1080}}};
  for (const auto& [sent, asked] : kCases) {
    Options options;
    options.size = asked;
    const RunningService service(options);
    Host host(service.port, sent.width, sent.height);
    ASSERT_NO_FATAL_FAILURE(host.goLive());
    const auto received = host.peer.received(20);
    ASSERT_GE(received.size(), 20U);
    for (const auto& frame : received) {
      ASSERT_EQ(frame.width, asked.value_or(sent).width);
      ASSERT_EQ(frame.height, asked.value_or(sent).height);
      EXPECT_TRUE(frame.isNumbered);
    }
    EXPECT_NEAR(received.back().u, 175, 6);
    EXPECT_NEAR(received.back().v, 160, 6);
  }
}

TEST(Media, goesOnAfterANewOfferAndEndsWithTheServiceWhileFramesFlow) {
  auto service = std::make_unique<RunningService>();
  Host host(service->port);
  ASSERT_NO_FATAL_FAILURE(host.goLive());
  EXPECT_FALSE(host.peer.received(1).empty());
  HostPeer second(640, 480);  // posts no candidates: those in the answer are enough
  ASSERT_NO_FATAL_FAILURE(host.offer(second));
  EXPECT_GE(second.received(5).size(), 5U);
  service = nullptr;
  EXPECT_EQ(host.status.closeCode(), 0);
}

TEST(AnswerSdp, hintsTheStartBitrateOfEveryVideoCodecOnly) {
  const std::string hint = "x-google-start-bitrate=2500\r\n";
  const std::string start = "m=video 9 UDP/TLS/RTP/SAVPF 96 97 98\r\na=rtpmap:96 VP8/90000\r\n";
  const std::string rest = "a=rtpmap:97 rtx/90000\r\na=fmtp:97 apt=96\r\na=rtpmap:98 VP9/90000\r\n";
  EXPECT_EQ(withStartBitrate(start + rest + "a=fmtp:98 profile-id=0\r\n"),
            start + "a=fmtp:96 " + hint + rest + "a=fmtp:98 profile-id=0;" + hint);
}

}  // namespace
}  // namespace quorvex::service
