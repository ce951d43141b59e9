#pragma once

#include <memory>

#include "api/peer_connection_interface.h"
#include "rtc_base/thread.h"

namespace quorvex {

/// The WebRTC library's three threads and its peer connection factory, started together and ended
/// in the order the library needs: whoever holds a native object holds this too, and lets go of the
/// object first. Thread-safe.
class NativeFactory {
 public:
  /// `useLoopback` lets ICE use the loopback interface, which it otherwise leaves out.
  /// Null when the library's threads do not start.
  static std::shared_ptr<NativeFactory> create(bool useLoopback);

  ~NativeFactory();

  [[nodiscard]] webrtc::PeerConnectionFactoryInterface& factory() const { return *native; }
  [[nodiscard]] rtc::Thread& signalingThread() const { return *signaling; }

 private:
  NativeFactory() = default;

  std::unique_ptr<rtc::Thread> network;
  std::unique_ptr<rtc::Thread> worker;
  std::unique_ptr<rtc::Thread> signaling;
  rtc::scoped_refptr<webrtc::PeerConnectionFactoryInterface> native;
};

}  // namespace quorvex
