#include "media/WebRTCClient.h"

#include <algorithm>

#include "log/HostLog.h"
#include "media/CaptureFormatChoice.h"
#include "platform/CoreMediaIO.h"
#include "platform/Weakly.h"

namespace quorvex {

/// Stands between one peer connection and the client: a client that has moved on to another
/// connection has let go of this one's observer, and hears no more of it.
class WebRTCClient::Observer : public RtcPeerConnectionObserver,
                               public std::enable_shared_from_this<Observer> {
 public:
  explicit Observer(WebRTCClient& owner)
      : client(owner.weak_from_this()), mainQueue(owner.mainQueue), delegate(owner.delegate) {}

  void didAddReceiver(const RtcRtpReceiver& receiver) override {
    if (!receiver.videoTrack) return;
    hostLog("webrtc: ontrack — swapped video track received");
    auto renderer = std::make_shared<RemoteFrameRenderer>(
        weakly(client, [](WebRTCClient& self, const PixelBufferRef& frame) {
          if (self.onRemoteFrame) self.onRemoteFrame(frame);
        }));
    receiver.videoTrack->setEnabled(true);
    mainQueue.async(weakly(client, [track = receiver.videoTrack, renderer,
                                    from = weak_from_this()](WebRTCClient& self) {
      if (self.observer == from.lock()) self.remoteTrackArrived(track, renderer);
    }));
  }

  void didGenerateIceCandidate(const RtcIceCandidate& candidate) override {
    if (auto listener = delegate.lock()) listener->webRTCDidGenerateCandidate(candidate);
  }

  void didChangeIceConnectionState(RtcIceConnectionState state) override {
    hostLog("webrtc: iceConnectionState=" + std::to_string(static_cast<int>(state)));
    if (auto listener = delegate.lock()) listener->webRTCDidChangeIceState(state);
  }

 private:
  const std::weak_ptr<WebRTCClient> client;
  DispatchQueue& mainQueue;
  const std::weak_ptr<WebRTCClientDelegate> delegate;
};

WebRTCClient::WebRTCClient(RtcEngine& engine, DispatchQueue& queue) : mainQueue(queue) {
  engine.initializeSSL();
  factory = engine.peerConnectionFactory();
}

WebRTCClient::~WebRTCClient() = default;

void WebRTCClient::setDelegate(std::weak_ptr<WebRTCClientDelegate> newDelegate) {
  delegate = std::move(newDelegate);
}

void WebRTCClient::createPeerConnection(const std::vector<RtcIceServer>& iceServers) {
  close();
  const RtcConfiguration configuration{
      .iceServers = iceServers,
      .sdpSemantics = RtcSdpSemantics::unifiedPlan,
      .bundlePolicy = RtcBundlePolicy::maxBundle,
      .continualGatheringPolicy = RtcContinualGatheringPolicy::gatherContinually};
  observer = std::make_shared<Observer>(*this);
  pc = factory->peerConnection(configuration, {}, observer);
  if (!pc) return hostLog("webrtc: failed to create peer connection");
  startCamera();
  if (localVideoTrack) {
    videoSender = pc->addTrack(localVideoTrack, {"rc_stream0"});
    applyMaxBitrate();
  }
  hostLog("webrtc: peer connection created (" + std::to_string(iceServers.size()) +
          " ice servers)");
}

void WebRTCClient::startCamera() {
  if (localVideoTrack) return;
  const auto source = factory->videoSource();
  capturer = factory->cameraCapturer(source);
  const auto device = physicalCamera();
  if (!device) return hostLog("webrtc: no physical camera");
  const auto formats = capturer->supportedFormatsForDevice(*device);
  if (formats.empty()) return hostLog("webrtc: no camera format");
  const CaptureFormat& format = nearestFormat(formats);
  const int fps = captureFrameRate(format);
  localVideoTrack = factory->videoTrack(source, "rc_cam0");
  mainQueue.async(weakly(this, [track = localVideoTrack](WebRTCClient& self) {
    if (self.onLocalTrack) self.onLocalTrack(track);
  }));
  capturer->startCaptureWithDevice(
      *device, format, fps, [name = device->name, fps](const std::optional<std::string>& error) {
        if (error)
          hostLog("webrtc: camera startCapture failed: " + *error);
        else
          hostLog("webrtc: capturing " + name + " @" + std::to_string(fps) + "fps");
      });
}

std::optional<CaptureDevice> WebRTCClient::physicalCamera() const {
  for (auto& device : capturer->captureDevices())
    if (device.name != kVirtualCameraName) return device;
  return std::nullopt;
}

void WebRTCClient::remoteTrackArrived(const std::shared_ptr<RtcVideoTrack>& track,
                                      const std::shared_ptr<RemoteFrameRenderer>& renderer) {
  remoteTrack = track;
  remoteRenderer = renderer;
  remoteTrack->addRenderer(remoteRenderer);
  if (onRemoteTrack) onRemoteTrack(remoteTrack);
}

void WebRTCClient::createOffer(std::function<void(std::optional<std::string>)> completion) {
  if (!pc) return completion(std::nullopt);
  const RtcMediaConstraints constraints{
      .mandatory = {{"OfferToReceiveVideo", "true"}, {"OfferToReceiveAudio", "false"}},
      .optional = {}};
  pc->offerForConstraints(constraints, [&queue = mainQueue, weak = weak_from_this(), completion](
                                           std::optional<RtcSessionDescription> offer,
                                           std::optional<std::string> error) {
    queue.async([weak, completion, offer = std::move(offer), error = std::move(error)] {
      const auto self = weak.lock();
      if (self && offer && !error) return self->applyLocalDescription(*offer, completion);
      hostLog("webrtc: createOffer failed: " + error.value_or("no description"));
      completion(std::nullopt);
    });
  });
}

void WebRTCClient::applyLocalDescription(
    const RtcSessionDescription& offer,
    std::function<void(std::optional<std::string>)> completion) {
  if (!pc) return;
  pc->setLocalDescription(offer,
                          [&queue = mainQueue, sdp = offer.sdp,
                           completion = std::move(completion)](std::optional<std::string> error) {
                            if (error) hostLog("webrtc: setLocalDescription failed: " + *error);
                            queue.async([sdp, completion, failed = error.has_value()] {
                              completion(failed ? std::nullopt : std::optional(sdp));
                            });
                          });
}

void WebRTCClient::setRemoteAnswer(const std::string& sdp, std::function<void(bool)> completion) {
  if (!pc) return completion(false);
  pc->setRemoteDescription(
      {RtcSessionDescription::Type::answer, sdp},
      [&queue = mainQueue, completion = std::move(completion)](std::optional<std::string> error) {
        if (error)
          hostLog("webrtc: setRemoteDescription failed: " + *error);
        else
          hostLog("webrtc: remote answer applied");
        queue.async([completion, applied = !error] { completion(applied); });
      });
}

void WebRTCClient::setMaxBitrate(int bps) {
  maxBitrateBps = bps;
  applyMaxBitrate();
}

void WebRTCClient::applyMaxBitrate() {
  if (!videoSender) return;
  auto parameters = videoSender->parameters();
  for (auto& encoding : parameters.encodings) encoding.maxBitrateBps = maxBitrateBps;
  videoSender->setParameters(parameters);
  hostLog("webrtc: maxBitrate set to " + std::to_string(maxBitrateBps / 1000) + " kbps");
}

void WebRTCClient::setMaxFramerate(std::int64_t fps) {
  const int clamped = static_cast<int>(std::clamp<std::int64_t>(fps, 1, 30));
  if (!videoSender) return;
  auto parameters = videoSender->parameters();
  for (auto& encoding : parameters.encodings) encoding.maxFramerate = clamped;
  videoSender->setParameters(parameters);
  hostLog("webrtc: maxFramerate set to " + std::to_string(clamped) +
          " fps (server fps_suggestion)");
}

void WebRTCClient::close() {
  if (remoteTrack && remoteRenderer) remoteTrack->removeRenderer(remoteRenderer);
  if (pc) pc->close();
  pc.reset();
  observer.reset();
  remoteRenderer.reset();
  remoteTrack.reset();
  videoSender.reset();
  mainQueue.async(weakly(this, [](WebRTCClient& self) {
    if (self.onRemoteTrack) self.onRemoteTrack(nullptr);
  }));
}

}  // namespace quorvex
