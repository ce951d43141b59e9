#include <gmock/gmock.h>

#include "fakes/FakeEngine.h"
#include "fakes/ManualQueue.h"
#include "media/CaptureFormatChoice.h"
#include "media/WebRTCClient.h"

namespace quorvex {
namespace {

using ::testing::ElementsAre;

CaptureFormat format(int width, int height, std::vector<FrameRateRange> ranges = {}) {
  return {width, height, 0, std::move(ranges)};
}

TEST(CaptureFormatChoice, takesTheNearestTo720pAndTheEarliestOfEqualsAtThirtyFramesAtMost) {
  const auto chosen = [](const std::vector<CaptureFormat>& formats) {
    return nearestFormat(formats).width;
  };
  EXPECT_EQ(chosen({format(640, 480), format(1280, 720), format(1920, 1080)}), 1280);
  EXPECT_EQ(chosen({format(1920, 1080), format(640, 480)}), 640);
  EXPECT_EQ(chosen({format(1024, 768), format(1536, 672)}), 1024);
  EXPECT_EQ(captureFrameRate(format(1, 1, {{15}, {60}})), 30);
  EXPECT_EQ(captureFrameRate(format(1, 1, {{29.97}})), 29);
  EXPECT_EQ(captureFrameRate(format(1, 1)), 30);
}

class WebRTCClientTest : public SteeredTest {
 protected:
  WebRTCClientTest() {
    client->onRemoteTrack = [this](const auto& track) {
      remote.push_back(track ? track->trackID() : "-");
    };
    client->onLocalTrack = [this](const auto& track) { local = track; };
  }

  FakeEngine engine;
  std::vector<std::string> remote;
  std::shared_ptr<RtcVideoTrack> local;
  std::shared_ptr<WebRTCClient> client = std::make_shared<WebRTCClient>(engine, mainQueue);
};

TEST_F(WebRTCClientTest, neverCapturesItsOwnCameraAndTriesAgainLater) {
  engine.camera.devices = {{"v", "Quorvex Camera"}};
  client->createPeerConnection({});
  EXPECT_FALSE(engine.last().addedTrack);
  engine.camera.devices.push_back({"w", "quorvex camera"});
  engine.camera.formats.clear();
  client->createPeerConnection({});
  engine.camera.formats = {format(640, 480)};
  engine.camera.startError = "busy";
  client->createPeerConnection({});
  mainQueue.run();
  EXPECT_EQ(engine.camera.started, "quorvex camera 640x480@30");
  EXPECT_TRUE(local) << "the track of a camera that fails to start is kept";
  EXPECT_THAT(log.lines(),
              ::testing::IsSupersetOf({"webrtc: no physical camera", "webrtc: no camera format",
                                       "webrtc: peer connection created (0 ice servers)",
                                       "webrtc: camera startCapture failed: busy"}));
}

TEST_F(WebRTCClientTest, replacesAConnectionAndHearsNoMoreOfTheOldOne) {
  client->createPeerConnection({});
  const auto first = engine.peers.back();
  const auto stale = first->observer.lock();
  client->createPeerConnection({});
  EXPECT_TRUE(first->closed);
  EXPECT_EQ(first->addedTrack, engine.last().addedTrack) << "the camera's track stays";
  stale->didAddReceiver({std::make_shared<FakeTrack>("old")});
  engine.last().observer.lock()->didAddReceiver({nullptr});
  engine.last().observer.lock()->didAddReceiver({std::make_shared<FakeTrack>("new")});
  mainQueue.run();
  EXPECT_THAT(remote, ElementsAre("-", "-", "new"));
  client->close();
  mainQueue.run();
  EXPECT_EQ(remote.back(), "-");
}

}  // namespace
}  // namespace quorvex
