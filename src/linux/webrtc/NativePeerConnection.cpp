#include "linux/webrtc/NativePeerConnection.h"

#include "api/jsep.h"
#include "api/rtp_sender_interface.h"
#include "api/set_local_description_observer_interface.h"
#include "api/set_remote_description_observer_interface.h"
#include "linux/webrtc/NativeVideoTrack.h"
#include "log/HostLog.h"
#include "rtc_base/ref_counted_object.h"

namespace quorvex {
namespace {

using Native = webrtc::PeerConnectionInterface;

Native::RTCConfiguration nativeConfiguration(const RtcConfiguration& wanted) {
  Native::RTCConfiguration native;
  for (const auto& server : wanted.iceServers) {
    Native::IceServer nativeServer;
    nativeServer.urls = server.urlStrings;
    nativeServer.username = server.username.value_or("");
    nativeServer.password = server.credential.value_or("");
    native.servers.push_back(std::move(nativeServer));
  }
  native.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
  native.bundle_policy = wanted.bundlePolicy == RtcBundlePolicy::maxBundle
                             ? Native::kBundlePolicyMaxBundle
                             : Native::kBundlePolicyBalanced;
  native.continual_gathering_policy =
      wanted.continualGatheringPolicy == RtcContinualGatheringPolicy::gatherContinually
          ? Native::GATHER_CONTINUALLY
          : Native::GATHER_ONCE;
  return native;
}

std::unique_ptr<webrtc::SessionDescriptionInterface> nativeDescription(
    const RtcSessionDescription& description, std::string* problem) {
  webrtc::SdpParseError error;
  auto parsed = webrtc::CreateSessionDescription(
      description.type == RtcSessionDescription::Type::offer ? webrtc::SdpType::kOffer
                                                             : webrtc::SdpType::kAnswer,
      description.sdp, &error);
  // The parser's line quotes the description, which is not for the log.
  if (!parsed) *problem = "the description cannot be parsed: " + error.description;
  return parsed;
}

std::optional<std::string> failureOf(const webrtc::RTCError& error) {
  if (error.ok()) return std::nullopt;
  return std::string(webrtc::ToString(error.type())) + ": " + error.message();
}

class OfferObserver : public webrtc::CreateSessionDescriptionObserver {
 public:
  explicit OfferObserver(RtcPeerConnection::DescriptionCompletion callback)
      : completion(std::move(callback)) {}

  void OnSuccess(webrtc::SessionDescriptionInterface* created) override {
    const std::unique_ptr<webrtc::SessionDescriptionInterface> description(created);
    RtcSessionDescription offer;
    if (!description || !description->ToString(&offer.sdp))
      return completion(std::nullopt, std::nullopt);
    completion(std::move(offer), std::nullopt);
  }
  void OnFailure(webrtc::RTCError error) override { completion(std::nullopt, failureOf(error)); }

 private:
  const RtcPeerConnection::DescriptionCompletion completion;
};

class SetObserver : public webrtc::SetLocalDescriptionObserverInterface,
                    public webrtc::SetRemoteDescriptionObserverInterface {
 public:
  explicit SetObserver(RtcPeerConnection::SetCompletion callback)
      : completion(std::move(callback)) {}

  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override {
    completion(failureOf(error));
  }
  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override {
    completion(failureOf(error));
  }

 private:
  const RtcPeerConnection::SetCompletion completion;
};

class NativeRtpSender : public RtcRtpSender {
 public:
  NativeRtpSender(std::shared_ptr<NativeFactory> owner,
                  rtc::scoped_refptr<webrtc::RtpSenderInterface> nativeSender)
      : library(std::move(owner)), sender(std::move(nativeSender)) {}

  [[nodiscard]] RtcRtpParameters parameters() const override {
    RtcRtpParameters read;
    for (const auto& encoding : sender->GetParameters().encodings) {
      RtcRtpEncodingParameters& copy = read.encodings.emplace_back();
      if (encoding.max_bitrate_bps) copy.maxBitrateBps = *encoding.max_bitrate_bps;
      if (encoding.max_framerate) copy.maxFramerate = static_cast<int>(*encoding.max_framerate);
    }
    return read;
  }

  void setParameters(const RtcRtpParameters& wanted) override {
    // The library takes back only the very parameters it has given out last, changed.
    auto native = sender->GetParameters();
    for (std::size_t i = 0; i < native.encodings.size() && i < wanted.encodings.size(); ++i) {
      if (wanted.encodings[i].maxBitrateBps)
        native.encodings[i].max_bitrate_bps = *wanted.encodings[i].maxBitrateBps;
      if (wanted.encodings[i].maxFramerate)
        native.encodings[i].max_framerate = *wanted.encodings[i].maxFramerate;
    }
    if (const auto problem = failureOf(sender->SetParameters(native)))
      hostLog("webrtc: sender parameters refused: " + *problem);
  }

 private:
  const std::shared_ptr<NativeFactory> library;
  const rtc::scoped_refptr<webrtc::RtpSenderInterface> sender;
};

}  // namespace

/// Passes the library's reports on to an observer that may be gone.
class NativePeerConnection::Observer : public webrtc::PeerConnectionObserver {
 public:
  Observer(std::shared_ptr<NativeFactory> owner, std::weak_ptr<RtcPeerConnectionObserver> reportsTo)
      : library(std::move(owner)), target(std::move(reportsTo)) {}

  void OnAddTrack(rtc::scoped_refptr<webrtc::RtpReceiverInterface> receiver,
                  const std::vector<rtc::scoped_refptr<webrtc::MediaStreamInterface>>&) override {
    const auto listener = target.lock();
    if (!listener) return;
    RtcRtpReceiver added;
    if (receiver->track()->kind() == webrtc::MediaStreamTrackInterface::kVideoKind) {
      auto* video = static_cast<webrtc::VideoTrackInterface*>(receiver->track().get());
      added.videoTrack = std::make_shared<NativeVideoTrack>(
          library, rtc::scoped_refptr<webrtc::VideoTrackInterface>(video));
    }
    listener->didAddReceiver(added);
  }

  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override {
    const auto listener = target.lock();
    RtcIceCandidate copy;
    if (!listener || !candidate->ToString(&copy.sdp)) return;
    if (!candidate->sdp_mid().empty()) copy.sdpMid = candidate->sdp_mid();
    copy.sdpMLineIndex = candidate->sdp_mline_index();
    listener->didGenerateIceCandidate(copy);
  }

  void OnStandardizedIceConnectionChange(Native::IceConnectionState state) override {
    static_assert(static_cast<int>(RtcIceConnectionState::closed) == Native::kIceConnectionClosed);
    if (const auto listener = target.lock())
      listener->didChangeIceConnectionState(static_cast<RtcIceConnectionState>(state));
  }

  void OnSignalingChange(Native::SignalingState) override {}
  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface>) override {}
  void OnIceGatheringChange(Native::IceGatheringState) override {}

 private:
  const std::shared_ptr<NativeFactory> library;
  const std::weak_ptr<RtcPeerConnectionObserver> target;
};

NativePeerConnection::NativePeerConnection(std::shared_ptr<NativeFactory> owner)
    : library(std::move(owner)) {}

NativePeerConnection::~NativePeerConnection() {
  close();
}

std::shared_ptr<NativePeerConnection> NativePeerConnection::create(
    std::shared_ptr<NativeFactory> library, const RtcConfiguration& configuration,
    std::weak_ptr<RtcPeerConnectionObserver> observer) {
  std::shared_ptr<NativePeerConnection> made(new NativePeerConnection(library));
  made->observer = std::make_unique<Observer>(library, std::move(observer));
  auto result = library->factory().CreatePeerConnectionOrError(
      nativeConfiguration(configuration), webrtc::PeerConnectionDependencies(made->observer.get()));
  if (!result.ok()) {
    hostLog("webrtc: peer connection refused: " + failureOf(result.error()).value_or(""));
    return nullptr;
  }
  made->pc = result.MoveValue();
  return made;
}

std::shared_ptr<RtcRtpSender> NativePeerConnection::addTrack(
    const std::shared_ptr<RtcVideoTrack>& track, const std::vector<std::string>& streamIDs) {
  auto& native = static_cast<NativeVideoTrack&>(*track);
  // Not AddTrack: its sender has no encodings before the first negotiation, so that a bitrate cap
  // set until then would be lost without a word.
  webrtc::RtpTransceiverInit init;
  init.stream_ids = streamIDs;
  init.send_encodings.resize(1);
  auto added = pc->AddTransceiver(native.native(), init);
  if (!added.ok()) {
    hostLog("webrtc: track refused: " + failureOf(added.error()).value_or(""));
    return nullptr;
  }
  return std::make_shared<NativeRtpSender>(library, added.MoveValue()->sender());
}

void NativePeerConnection::offerForConstraints(const RtcMediaConstraints& constraints,
                                               DescriptionCompletion completion) {
  Native::RTCOfferAnswerOptions options;
  const auto flag = [&](const char* name, int* option) {
    const auto found = constraints.mandatory.find(name);
    if (found != constraints.mandatory.end()) *option = found->second == "true" ? 1 : 0;
  };
  flag("OfferToReceiveVideo", &options.offer_to_receive_video);
  flag("OfferToReceiveAudio", &options.offer_to_receive_audio);
  pc->CreateOffer(rtc::make_ref_counted<OfferObserver>(std::move(completion)).get(), options);
}

void NativePeerConnection::setLocalDescription(const RtcSessionDescription& description,
                                               SetCompletion completion) {
  std::string problem;
  auto native = nativeDescription(description, &problem);
  if (!native) return completion(problem);
  const auto completed = rtc::make_ref_counted<SetObserver>(std::move(completion));
  pc->SetLocalDescription(
      std::move(native),
      rtc::scoped_refptr<webrtc::SetLocalDescriptionObserverInterface>(completed.get()));
}

void NativePeerConnection::setRemoteDescription(const RtcSessionDescription& description,
                                                SetCompletion completion) {
  std::string problem;
  auto native = nativeDescription(description, &problem);
  if (!native) return completion(problem);
  // Making the encoder and the decoder takes a tenth of a second, in which the caller, the main
  // thread, has better things to do. What it asks of the connection next queues behind this.
  library->signalingThread().PostTask(
      [connection = pc, native = std::move(native),
       completed = rtc::make_ref_counted<SetObserver>(std::move(completion))]() mutable {
        connection->SetRemoteDescription(
            std::move(native),
            rtc::scoped_refptr<webrtc::SetRemoteDescriptionObserverInterface>(completed.get()));
      });
}

void NativePeerConnection::close() {
  if (pc) pc->Close();
}

}  // namespace quorvex
