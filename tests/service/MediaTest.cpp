#include <gtest/gtest.h>

#include <mutex>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternCamera.h"
#include "linux/webrtc/NativeRtcEngine.h"
#include "service/ServiceTalk.h"

namespace quorvex::service {
namespace {

using namespace test;
using nlohmann::json;

/// A host's end of the peer connection, on the host's own engine: sends the test pattern at 30 fps
/// and looks at what the service sends back.
class HostPeer : public RtcPeerConnectionObserver, public RtcVideoRenderer {
 public:
  struct Received {
    int width, height;
    std::optional<std::uint32_t> number;  ///< where it can still be read
    int u;                                ///< its colour amid the oval
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
  void apply(const std::string& answer) {
    const RtcSessionDescription remote{RtcSessionDescription::Type::answer, answer};
    finish([&](auto done) { peer->setRemoteDescription(remote, done); });
  }
  /// One for each frame that has come, when there are `count`, or fewer after some time.
  std::vector<Received> received(std::size_t count) {
    std::vector<Received> seen;
    (void)eventually([&] {
      const std::lock_guard hold(mutex);
      seen = frames;
      return seen.size() >= count;
    });
    return seen;
  }

 private:
  /// Starts an operation of the engine and waits until it completes.
  template <class Start>
  static void finish(const Start& start) {
    const auto completed = std::make_shared<std::promise<std::optional<std::string>>>();
    start([completed](const auto& error) { completed->set_value(error); });
    if (const auto error = completed->get_future().get()) throw std::runtime_error(*error);
  }

  void didAddReceiver(const RtcRtpReceiver& receiver) override {
    track = receiver.videoTrack;
    track->addRenderer(self);
  }
  void didGenerateIceCandidate(const RtcIceCandidate&) override {}  // the answer's are enough
  void didChangeIceConnectionState(RtcIceConnectionState) override {}
  void setSize(int, int) override {}
  void renderFrame(const RtcVideoFrame* frame) override {
    const I420View& view = frame->i420;
    const std::lock_guard hold(mutex);
    frames.push_back({view.width, view.height,
                      readFrameStamp(view.dataY, view.strideY, {0, 0, view.width, view.height}),
                      view.dataU[view.height * 9 / 40 * view.strideU + view.width / 4]});
  }

  const std::shared_ptr<HostPeer> self{this, [](HostPeer*) {}};  // owns nothing
  std::shared_ptr<RtcPeerConnection> peer;
  std::shared_ptr<RtcCameraVideoCapturer> capturer;
  std::shared_ptr<RtcVideoTrack> track;
  std::mutex mutex;
  std::vector<Received> frames;  // protected by mutex
};

/// A host that goes the whole road to the service's answer.
struct Host {
  explicit Host(std::uint16_t port) : session(port), client(status.clientId()) {}

  json offer(HostPeer& from) const {
    json body = {{"client_id", client}, {"token", session.token}, {"type", "offer"}};
    body["sdp"] = from.offer();
    return session.post("/ws/offer", body).body;
  }
  void goLive(HostPeer& with) const { with.apply(offer(with).at("sdp")); }

  HostSession session;
  StatusTalk status{session};
  std::string client;
  HostPeer peer{1280, 720};
};

TEST(Media, comesBackSwappedAtTheSizeSentOrAskedForFromTheFirstFrameOn) {
  for (const auto& asked : {std::optional<PictureSize>(), {{641, 481}}, {{1920, 1080}}}) {
    Options options;
    options.size = asked;
    const RunningService service(options);
    Host host(service.port);
    host.goLive(host.peer);
    const auto received = host.peer.received(20);
    ASSERT_GE(received.size(), 20U);
    const auto [width, height] = asked.value_or(PictureSize{1280, 720});
    for (const auto& frame : received) {
      ASSERT_EQ(std::pair(frame.width, frame.height), std::pair(width, height));
      EXPECT_TRUE(frame.number);
    }
    EXPECT_NEAR(received.back().u, 175, 10);
  }
}

TEST(Media, goesOnAfterANewOfferGivesAVanishedPeersPlaceOnAndEndsWithTheServiceAsFramesFlow) {
  auto service = std::make_unique<RunningService>();
  EXPECT_EQ(service->control("faults", R"({"places":1})"), "200 ");
  Host first(service->port), second(service->port);
  first.goLive(first.peer);
  HostPeer smaller(640, 480);
  first.goLive(smaller);
  ASSERT_GE(smaller.received(5).size(), 5U);
  EXPECT_EQ(smaller.received(0).back().width, 640);
  EXPECT_EQ(second.offer(second.peer), json({{"status", "queued"}, {"queue_position", 1}}));
  EXPECT_EQ(second.status.receive()->at("total_in_queue"), 1);
  const json state = service->state();
  for (const json& client : state.at("clients"))
    EXPECT_EQ(client.at("live"), client.at("id") == first.client);
  EXPECT_EQ(service->control("peers", R"({"vanish":true})"), "204 ");
  EXPECT_EQ(second.status.receive()->at("action"), "start_connection");
  second.goLive(second.peer);
  EXPECT_FALSE(second.peer.received(1).empty());
  service = nullptr;
  EXPECT_EQ(second.status.closeCode(), 0);
}

}  // namespace
}  // namespace quorvex::service
