#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/RemoteFrameRenderer.h"
#include "platform/DispatchQueue.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// What the peer connection reports. Called on the engine's signaling thread.
class WebRTCClientDelegate {
 public:
  virtual ~WebRTCClientDelegate() = default;
  virtual void webRTCDidGenerateCandidate(const RtcIceCandidate& candidate) = 0;
  virtual void webRTCDidChangeIceState(RtcIceConnectionState state) = 0;
};

/// Owns the peer connection that carries the camera to the service and brings the swapped track
/// back, and the camera with it, which keeps running from one connection to the next. The host
/// always offers; there is one connection at a time. Main queue only, unless said otherwise.
class WebRTCClient : public std::enable_shared_from_this<WebRTCClient> {
 public:
  using TrackCallback = std::function<void(std::shared_ptr<RtcVideoTrack>)>;

  WebRTCClient(RtcEngine& engine, DispatchQueue& mainQueue);
  ~WebRTCClient();

  void setDelegate(std::weak_ptr<WebRTCClientDelegate> newDelegate);

  /// Every swapped frame, on the engine's rendering thread.
  RemoteFrameRenderer::FrameCallback onRemoteFrame;
  /// The swapped track came, or went (none). Main queue.
  TrackCallback onRemoteTrack;
  /// The camera's track came. Main queue.
  TrackCallback onLocalTrack;

  /// Replaces the peer connection by a new one and starts the camera if it does not run yet. When
  /// the engine refuses, there is none afterwards.
  void createPeerConnection(const std::vector<RtcIceServer>& iceServers);
  [[nodiscard]] bool hasPeerConnection() const { return pc != nullptr; }

  /// Makes the offer and applies it as the local description. Completes on the main queue with the
  /// SDP text, or none on failure; not at all when the connection is closed meanwhile.
  void createOffer(std::function<void(std::optional<std::string> sdp)> completion);

  /// Completes on the main queue, true when the answer was applied.
  void setRemoteAnswer(const std::string& sdp, std::function<void(bool applied)> completion);

  /// Caps every encoding of this and of later connections, in bits a second.
  void setMaxBitrate(int bps);
  /// Caps the current connection's frame rate; clamped to 1 to 30 frames a second.
  void setMaxFramerate(std::int64_t fps);

  /// Ends the connection and reports the remote track gone; the camera keeps running.
  void close();

 private:
  class Observer;

  void startCamera();
  [[nodiscard]] std::optional<CaptureDevice> physicalCamera() const;
  void remoteTrackArrived(const std::shared_ptr<RtcVideoTrack>& track,
                          const std::shared_ptr<RemoteFrameRenderer>& renderer);
  void applyLocalDescription(const RtcSessionDescription& offer,
                             std::function<void(std::optional<std::string>)> completion);
  void applyMaxBitrate();

  DispatchQueue& mainQueue;
  std::weak_ptr<WebRTCClientDelegate> delegate;
  std::unique_ptr<RtcPeerConnectionFactory> factory;
  std::shared_ptr<Observer> observer;  ///< of `pc`; a connection that is closed has none
  std::shared_ptr<RtcPeerConnection> pc;
  std::shared_ptr<RtcCameraVideoCapturer> capturer;
  std::shared_ptr<RtcVideoTrack> localVideoTrack;
  std::shared_ptr<RemoteFrameRenderer> remoteRenderer;
  std::shared_ptr<RtcVideoTrack> remoteTrack;
  std::shared_ptr<RtcRtpSender> videoSender;
  int maxBitrateBps = 3'000'000;
};

}  // namespace quorvex
