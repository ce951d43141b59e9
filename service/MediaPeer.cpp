#include "service/MediaPeer.h"

#include <atomic>
#include <utility>

#include "api/jsep.h"
#include "api/peer_connection_interface.h"
#include "api/stats/rtcstats_objects.h"
#include "linux/webrtc/NativeFactory.h"
#include "linux/webrtc/PushVideoSource.h"
#include "pc/session_description.h"
#include "rtc_base/ref_counted_object.h"
#include "service/AnswerSdp.h"
#include "service/MediaEngine.h"
#include "service/SwapTrack.h"

namespace quorvex::service {
namespace {

using webrtc::PeerConnectionInterface;

constexpr auto kLongestGathering = webrtc::TimeDelta::Seconds(2);
constexpr auto kCountEvery = webrtc::TimeDelta::Millis(500);
// Enough for 1920x1080 from the first frame on.
constexpr int kMinBitrate = 500'000, kStartBitrate = 3'000'000, kMaxBitrate = 6'000'000;

/// Makes the two description observers of a callable that takes the webrtc::RTCError.
template <class Done>
class RemoteSet : public webrtc::SetRemoteDescriptionObserverInterface {
 public:
  explicit RemoteSet(Done callable) : done(std::move(callable)) {}
  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override { done(error); }

 private:
  Done done;
};
template <class Done>
class LocalSet : public webrtc::SetLocalDescriptionObserverInterface {
 public:
  explicit LocalSet(Done callable) : done(std::move(callable)) {}
  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override { done(error); }

 private:
  Done done;
};

std::unique_ptr<webrtc::IceCandidateInterface> nativeOf(const IceCandidate& candidate) {
  return std::unique_ptr<webrtc::IceCandidateInterface>(webrtc::CreateIceCandidate(
      candidate.sdpMid, candidate.sdpMLineIndex, candidate.candidate, nullptr));
}

}  // namespace

template <class Done>
class Statistics : public webrtc::RTCStatsCollectorCallback {
 public:
  explicit Statistics(Done callable) : done(std::move(callable)) {}
  void OnStatsDelivered(const rtc::scoped_refptr<const webrtc::RTCStatsReport>& report) override {
    done(*report);
  }

 private:
  Done done;
};

/// What of a peer lives on the signaling thread, where all of this is called.
class MediaPeer::Connection : public webrtc::PeerConnectionObserver,
                              public std::enable_shared_from_this<Connection> {
 public:
  Connection(MediaEngine& mediaEngine, std::optional<PictureSize> size, Answered whenAnswered,
             std::weak_ptr<std::function<void()>> whenFailed)
      : engine(mediaEngine),
        answered(std::move(whenAnswered)),
        failed(std::move(whenFailed)),
        source(PushVideoSource::create()),
        swap(source, size, mediaEngine.picturesFlow()) {}

  void start(const std::string& offer);
  void add(std::unique_ptr<webrtc::IceCandidateInterface> candidate);
  void show(const SwapSettings& settings) { swap.show(settings); }
  [[nodiscard]] std::uint64_t receivedBytes() const { return received; }
  void close();

  void OnConnectionChange(PeerConnectionInterface::PeerConnectionState state) override;
  void OnIceGatheringChange(PeerConnectionInterface::IceGatheringState state) override;
  void OnSignalingChange(PeerConnectionInterface::SignalingState) override {}
  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface>) override {}
  void OnIceCandidate(const webrtc::IceCandidateInterface*) override {}

 private:
  bool connect();
  void remoteSet(const webrtc::RTCError& error);
  void localSet(const webrtc::RTCError& error);
  void sendBack(webrtc::RtpTransceiverInterface& transceiver);
  void answer();
  void countReceived();
  void complete(std::variant<Answer, Refusal> result);
  void refuse(Refusal refusal);
  void reportFailure();

  MediaEngine& engine;
  Answered answered;  ///< empty once it has been called
  std::weak_ptr<std::function<void()>> failed;
  rtc::scoped_refptr<PushVideoSource> source;
  SwapTrack swap;
  std::atomic<std::uint64_t> received{0};
  rtc::scoped_refptr<PeerConnectionInterface> peer;
  rtc::scoped_refptr<webrtc::RtpTransceiverInterface> video;
};

bool MediaPeer::Connection::connect() {
  PeerConnectionInterface::RTCConfiguration configuration;
  configuration.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
  configuration.bundle_policy = PeerConnectionInterface::kBundlePolicyMaxBundle;
  configuration.set_prerenderer_smoothing(false);  // frames come straight from the decoder
  auto made = engine.native().factory().CreatePeerConnectionOrError(
      configuration, webrtc::PeerConnectionDependencies(this));
  if (!made.ok()) return false;
  peer = made.MoveValue();
  webrtc::BitrateSettings bitrate;
  bitrate.min_bitrate_bps = kMinBitrate;
  bitrate.start_bitrate_bps = kStartBitrate;
  bitrate.max_bitrate_bps = kMaxBitrate;
  return peer->SetBitrate(bitrate).ok();
}

void MediaPeer::Connection::start(const std::string& offer) {
  webrtc::SdpParseError error;
  auto description = webrtc::CreateSessionDescription(webrtc::SdpType::kOffer, offer, &error);
  if (!description)
    return refuse({400, "member \"sdp\" is no session description: " + error.description});
  bool hasVideo = false;
  for (const auto& content : description->description()->contents())
    hasVideo |= content.media_description()->type() == cricket::MEDIA_TYPE_VIDEO;
  if (!hasVideo) return refuse({400, "member \"sdp\" must offer video; it has none"});
  if (!connect()) return refuse({500, "the service cannot make a peer connection; try again"});

  auto done = [weak = weak_from_this()](const webrtc::RTCError& result) {
    if (const auto self = weak.lock()) self->remoteSet(result);
  };
  peer->SetRemoteDescription(std::move(description),
                             rtc::make_ref_counted<RemoteSet<decltype(done)>>(std::move(done)));
}

void MediaPeer::Connection::remoteSet(const webrtc::RTCError& error) {
  if (!peer) return;
  if (!error.ok())
    return refuse({400, std::string("member \"sdp\" cannot be applied: ") + error.message()});
  for (const auto& transceiver : peer->GetTransceivers()) {
    if (video || transceiver->media_type() != cricket::MEDIA_TYPE_VIDEO) continue;
    video = transceiver;
    sendBack(*video);
  }
  auto done = [weak = weak_from_this()](const webrtc::RTCError& result) {
    if (const auto self = weak.lock()) self->localSet(result);
  };
  countReceived();
  peer->SetLocalDescription(rtc::make_ref_counted<LocalSet<decltype(done)>>(std::move(done)));
}

/// Again and again, as long as there is a connection.
void MediaPeer::Connection::countReceived() {
  if (!peer) return;
  auto take = [weak = weak_from_this()](const webrtc::RTCStatsReport& report) {
    const auto self = weak.lock();
    if (!self) return;
    std::uint64_t bytes = 0;
    for (const auto* stream : report.GetStatsOfType<webrtc::RTCInboundRTPStreamStats>())
      bytes += stream->bytes_received.ValueOrDefault(0);
    self->received = bytes;
  };
  peer->GetStats(rtc::make_ref_counted<Statistics<decltype(take)>>(std::move(take)).get());
  engine.native().signalingThread().PostDelayedTask(
      [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->countReceived();
      },
      kCountEvery);
}

void MediaPeer::Connection::sendBack(webrtc::RtpTransceiverInterface& transceiver) {
  transceiver.SetDirectionWithError(webrtc::RtpTransceiverDirection::kSendRecv);
  const auto track = engine.native().factory().CreateVideoTrack("swapped0", source.get());
  transceiver.sender()->SetTrack(track.get());
  transceiver.sender()->SetStreams({"swapped"});
  auto parameters = transceiver.sender()->GetParameters();
  parameters.degradation_preference = webrtc::DegradationPreference::MAINTAIN_RESOLUTION;
  for (auto& encoding : parameters.encodings) encoding.max_bitrate_bps = kMaxBitrate;
  transceiver.sender()->SetParameters(parameters);

  transceiver.receiver()->SetJitterBufferMinimumDelay(0.0);
  static_cast<webrtc::VideoTrackInterface*>(transceiver.receiver()->track().get())
      ->AddOrUpdateSink(&swap, rtc::VideoSinkWants());
}

void MediaPeer::Connection::localSet(const webrtc::RTCError& error) {
  if (!peer) return;
  if (!error.ok())
    return refuse({400, std::string("member \"sdp\" cannot be answered: ") + error.message()});
  if (peer->ice_gathering_state() == PeerConnectionInterface::kIceGatheringComplete)
    return answer();
  engine.native().signalingThread().PostDelayedTask(
      [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->answer();
      },
      kLongestGathering);
}

void MediaPeer::Connection::OnIceGatheringChange(PeerConnectionInterface::IceGatheringState state) {
  if (state == PeerConnectionInterface::kIceGatheringComplete) answer();
}

void MediaPeer::Connection::answer() {
  std::string sdp;
  if (!peer || !peer->local_description() || !peer->local_description()->ToString(&sdp)) return;
  complete(Answer{withStartBitrate(sdp)});
}

void MediaPeer::Connection::complete(std::variant<Answer, Refusal> result) {
  if (!answered) return;
  engine.hop([call = std::exchange(answered, nullptr), result = std::move(result)]() mutable {
    call(std::move(result));
  });
}

void MediaPeer::Connection::OnConnectionChange(PeerConnectionInterface::PeerConnectionState state) {
  if (state == PeerConnectionInterface::PeerConnectionState::kFailed) reportFailure();
}

void MediaPeer::Connection::refuse(Refusal refusal) {
  complete(std::move(refusal));
  reportFailure();
}

void MediaPeer::Connection::reportFailure() {
  engine.hop([weak = failed] {
    if (const auto call = weak.lock()) (*call)();
  });
}

void MediaPeer::Connection::add(std::unique_ptr<webrtc::IceCandidateInterface> candidate) {
  if (peer) peer->AddIceCandidate(std::move(candidate), [](const webrtc::RTCError&) {});
}

void MediaPeer::Connection::close() {
  if (video)
    static_cast<webrtc::VideoTrackInterface*>(video->receiver()->track().get())->RemoveSink(&swap);
  video = nullptr;
  if (peer) peer->Close();
  peer = nullptr;
  complete(Refusal{409, "the offer was overtaken by a newer one or by the end of its client"});
}

MediaPeer::MediaPeer(MediaEngine& mediaEngine, std::optional<PictureSize> size,
                     const std::string& offer, Answered answered, std::function<void()> whenFailed)
    : engine(mediaEngine),
      failed(std::make_shared<std::function<void()>>(std::move(whenFailed))),
      connection(std::make_shared<Connection>(engine, size, std::move(answered), failed)) {
  engine.native().signalingThread().PostTask([made = connection, offer] { made->start(offer); });
}

MediaPeer::~MediaPeer() {
  engine.native().signalingThread().PostTask(
      [last = std::move(connection)]() mutable { std::exchange(last, nullptr)->close(); });
}

void MediaPeer::show(const SwapSettings& settings) {
  connection->show(settings);
}

std::uint64_t MediaPeer::receivedBytes() const {
  return connection->receivedBytes();
}

bool MediaPeer::isReadable(const IceCandidate& candidate) {
  return nativeOf(candidate) != nullptr;
}

void MediaPeer::add(const IceCandidate& candidate) {
  auto native = nativeOf(candidate);
  if (!native) return;
  engine.native().signalingThread().PostTask(
      [held = connection, native = std::move(native)]() mutable { held->add(std::move(native)); });
}

}  // namespace quorvex::service
