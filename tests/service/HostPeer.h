#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "api/peer_connection_interface.h"
#include "api/video/video_frame.h"
#include "api/video/video_sink_interface.h"
#include "linux/webrtc/NativeFactory.h"
#include "linux/webrtc/PushVideoSource.h"

namespace quorvex::service::test {

/// A host's end of the peer connection, made as the host makes it: offers one camera track, showing
/// the numbered test picture at 30 fps, and receives the service's.
class HostPeer : private webrtc::PeerConnectionObserver,
                 private rtc::VideoSinkInterface<webrtc::VideoFrame> {
 public:
  /// What has been received so far.
  struct Received {
    int frames = 0;
    int width = 0;  ///< of the newest frame, as is what follows
    int height = 0;
    std::vector<std::uint8_t> u, v;
    std::vector<std::string> sizes;  ///< that of the first frame and each that followed it
    int unreadable = 0;              ///< frames whose number did not survive
  };

  HostPeer(int width, int height);
  ~HostPeer() override;

  /// The local description; its candidates follow in `takeCandidates`.
  std::string offer();
  /// As the host posts them. Waits until there is at least one that was not taken before.
  std::vector<nlohmann::json> takeCandidates();
  /// False when the library refuses it.
  bool apply(const std::string& answer);

  /// Waits until `condition` holds of what has been received; false when it does not in time.
  bool receives(const std::function<bool(const Received&)>& condition, int seconds = 30);
  [[nodiscard]] Received received();

 private:
  void paint(int width, int height);

  void OnFrame(const webrtc::VideoFrame& frame) override;
  void OnAddTrack(
      rtc::scoped_refptr<webrtc::RtpReceiverInterface> receiver,
      const std::vector<rtc::scoped_refptr<webrtc::MediaStreamInterface>>& streams) override;
  void OnIceCandidate(const webrtc::IceCandidateInterface* candidate) override;
  void OnSignalingChange(webrtc::PeerConnectionInterface::SignalingState) override {}
  void OnDataChannel(rtc::scoped_refptr<webrtc::DataChannelInterface>) override {}
  void OnIceGatheringChange(webrtc::PeerConnectionInterface::IceGatheringState) override {}

  std::shared_ptr<NativeFactory> library;
  rtc::scoped_refptr<PushVideoSource> source;
  rtc::scoped_refptr<webrtc::PeerConnectionInterface> peer;
  rtc::scoped_refptr<webrtc::VideoTrackInterface> remote;
  std::atomic<bool> stopped{false};
  std::thread camera;

  std::mutex mutex;
  std::condition_variable changed;
  // State below is protected by mutex.
  std::vector<nlohmann::json> candidates;
  Received state;
};

}  // namespace quorvex::service::test
