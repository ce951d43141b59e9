#include "service/HostPeer.h"

#include <chrono>
#include <future>
#include <stdexcept>

#include "api/jsep.h"
#include "api/video/i420_buffer.h"
#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternPainter.h"
#include "rtc_base/ref_counted_object.h"
#include "rtc_base/time_utils.h"

namespace quorvex::service::test {
namespace {

using webrtc::PeerConnectionInterface;

constexpr int kFps = 30;

/// Waits for the end of one description operation.
class Waiting : public webrtc::SetLocalDescriptionObserverInterface,
                public webrtc::SetRemoteDescriptionObserverInterface {
 public:
  void OnSetLocalDescriptionComplete(webrtc::RTCError error) override {
    done.set_value(error.ok());
  }
  void OnSetRemoteDescriptionComplete(webrtc::RTCError error) override {
    done.set_value(error.ok());
  }
  bool wait() { return done.get_future().get(); }

 private:
  std::promise<bool> done;
};

std::vector<std::uint8_t> copied(const std::uint8_t* plane, int stride, int width, int height) {
  std::vector<std::uint8_t> copy;
  for (int y = 0; y < height; ++y)
    copy.insert(copy.end(), plane + std::ptrdiff_t{y} * stride,
                plane + std::ptrdiff_t{y} * stride + width);
  return copy;
}

}  // namespace

HostPeer::HostPeer(int width, int height)
    : library(NativeFactory::create(true)), source(PushVideoSource::create()) {
  PeerConnectionInterface::RTCConfiguration configuration;
  configuration.sdp_semantics = webrtc::SdpSemantics::kUnifiedPlan;
  configuration.bundle_policy = PeerConnectionInterface::kBundlePolicyMaxBundle;
  configuration.continual_gathering_policy = PeerConnectionInterface::GATHER_CONTINUALLY;
  auto made = library->factory().CreatePeerConnectionOrError(
      configuration, webrtc::PeerConnectionDependencies(this));
  if (!made.ok()) throw std::runtime_error("no peer connection");
  peer = made.MoveValue();
  const auto sender =
      peer->AddTrack(library->factory().CreateVideoTrack("rc_cam0", source.get()), {"rc_stream0"});
  auto parameters = sender.value()->GetParameters();
  for (auto& encoding : parameters.encodings) encoding.max_bitrate_bps = 3'000'000;
  sender.value()->SetParameters(parameters);
  camera = std::thread([this, width, height] { paint(width, height); });
}

HostPeer::~HostPeer() {
  stopped = true;
  camera.join();
  if (remote) remote->RemoveSink(this);
  peer->Close();
  remote = nullptr;
  peer = nullptr;
  source = nullptr;
}

void HostPeer::paint(int width, int height) {
  PatternPainter painter(width, height);
  auto next = std::chrono::steady_clock::now();
  for (std::uint32_t number = 0; !stopped; ++number) {
    const I420View view = painter.paint(number, double(number) / kFps).view();
    source->push(webrtc::I420Buffer::Copy(width, height, view.dataY, view.strideY, view.dataU,
                                          view.strideU, view.dataV, view.strideV),
                 rtc::TimeNanos());
    std::this_thread::sleep_until(next += std::chrono::nanoseconds(1'000'000'000 / kFps));
  }
}

std::string HostPeer::offer() {
  const auto waiting = rtc::make_ref_counted<Waiting>();
  peer->SetLocalDescription(
      rtc::scoped_refptr<webrtc::SetLocalDescriptionObserverInterface>(waiting.get()));
  if (!waiting->wait()) throw std::runtime_error("no offer");
  std::string sdp;
  peer->local_description()->ToString(&sdp);
  return sdp;
}

std::vector<nlohmann::json> HostPeer::takeCandidates() {
  std::unique_lock lock(mutex);
  changed.wait_for(lock, std::chrono::seconds(10), [this] { return !candidates.empty(); });
  return std::exchange(candidates, {});
}

bool HostPeer::apply(const std::string& answer) {
  const auto waiting = rtc::make_ref_counted<Waiting>();
  peer->SetRemoteDescription(
      webrtc::CreateSessionDescription(webrtc::SdpType::kAnswer, answer),
      rtc::scoped_refptr<webrtc::SetRemoteDescriptionObserverInterface>(waiting.get()));
  return waiting->wait();
}

void HostPeer::OnAddTrack(rtc::scoped_refptr<webrtc::RtpReceiverInterface> receiver,
                          const std::vector<rtc::scoped_refptr<webrtc::MediaStreamInterface>>&) {
  remote = rtc::scoped_refptr<webrtc::VideoTrackInterface>(
      static_cast<webrtc::VideoTrackInterface*>(receiver->track().get()));
  remote->AddOrUpdateSink(this, rtc::VideoSinkWants());
}

void HostPeer::OnIceCandidate(const webrtc::IceCandidateInterface* candidate) {
  std::string line;
  candidate->ToString(&line);
  const std::lock_guard lock(mutex);
  candidates.push_back({{"candidate", line},
                        {"sdpMid", candidate->sdp_mid()},
                        {"sdpMLineIndex", candidate->sdp_mline_index()}});
  changed.notify_all();
}

void HostPeer::OnFrame(const webrtc::VideoFrame& frame) {
  const auto picture = frame.video_frame_buffer()->ToI420();
  const int width = picture->width(), height = picture->height();
  const auto number = readFrameStamp(picture->DataY(), picture->StrideY(), {0, 0, width, height});

  const std::lock_guard lock(mutex);
  ++state.frames;
  if (width != state.width || height != state.height)
    state.sizes.push_back(std::to_string(width) + "x" + std::to_string(height));
  state.width = width;
  state.height = height;
  const int chromaWidth = (width + 1) / 2, chromaHeight = (height + 1) / 2;
  state.u = copied(picture->DataU(), picture->StrideU(), chromaWidth, chromaHeight);
  state.v = copied(picture->DataV(), picture->StrideV(), chromaWidth, chromaHeight);
  if (!number) ++state.unreadable;
  changed.notify_all();
}

bool HostPeer::receives(const std::function<bool(const Received&)>& condition, int seconds) {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, std::chrono::seconds(seconds), [&] { return condition(state); });
}

HostPeer::Received HostPeer::received() {
  const std::lock_guard lock(mutex);
  return state;
}

}  // namespace quorvex::service::test
