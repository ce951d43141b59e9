#pragma once

#include <memory>

#include "linux/webrtc/NativeFactory.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// A peer connection of the WebRTC library.
class NativePeerConnection : public RtcPeerConnection {
 public:
  /// None when the library refuses the configuration; the reason goes to the host's log.
  static std::shared_ptr<NativePeerConnection> create(
      std::shared_ptr<NativeFactory> library, const RtcConfiguration& configuration,
      std::weak_ptr<RtcPeerConnectionObserver> observer);

  ~NativePeerConnection() override;

  [[nodiscard]] std::shared_ptr<RtcRtpSender> addTrack(
      const std::shared_ptr<RtcVideoTrack>& track,
      const std::vector<std::string>& streamIDs) override;
  void offerForConstraints(const RtcMediaConstraints& constraints,
                           DescriptionCompletion completion) override;
  void setLocalDescription(const RtcSessionDescription& description,
                           SetCompletion completion) override;
  void setRemoteDescription(const RtcSessionDescription& description,
                            SetCompletion completion) override;
  void close() override;

 private:
  class Observer;

  explicit NativePeerConnection(std::shared_ptr<NativeFactory> library);

  const std::shared_ptr<NativeFactory> library;
  std::unique_ptr<Observer> observer;  ///< the library points to it until the connection is closed
  rtc::scoped_refptr<webrtc::PeerConnectionInterface> pc;
};

}  // namespace quorvex
