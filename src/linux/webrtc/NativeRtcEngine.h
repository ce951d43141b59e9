#pragma once

#include <memory>

#include "platform/RtcEngine.h"

namespace quorvex {

/// The WebRTC engine on the native WebRTC library, fed by the given cameras.
class NativeRtcEngine : public RtcEngine {
 public:
  /// `useLoopback` lets ICE use the loopback interface: for a service on this very machine.
  NativeRtcEngine(std::shared_ptr<CameraProvider> cameras, bool useLoopback);

  void initializeSSL() override;
  /// Ends the process with a message when the library's threads cannot be started: there is no host
  /// without them.
  [[nodiscard]] std::unique_ptr<RtcPeerConnectionFactory> peerConnectionFactory() override;

 private:
  const std::shared_ptr<CameraProvider> cameras;
  const bool useLoopback;
};

}  // namespace quorvex
