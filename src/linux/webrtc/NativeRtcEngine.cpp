#include "linux/webrtc/NativeRtcEngine.h"

#include <cstdio>
#include <cstdlib>

#include "linux/webrtc/NativeCameraCapturer.h"
#include "linux/webrtc/NativeFactory.h"
#include "linux/webrtc/NativePeerConnection.h"
#include "linux/webrtc/NativeVideoTrack.h"
#include "rtc_base/logging.h"
#include "rtc_base/ssl_adapter.h"

namespace quorvex {
namespace {

class NativeVideoSource : public RtcVideoSource {
 public:
  const rtc::scoped_refptr<PushVideoSource> native = PushVideoSource::create();
};

class NativePeerConnectionFactory : public RtcPeerConnectionFactory {
 public:
  NativePeerConnectionFactory(std::shared_ptr<NativeFactory> owner,
                              std::shared_ptr<CameraProvider> provider)
      : library(std::move(owner)), cameras(std::move(provider)) {}

  [[nodiscard]] std::shared_ptr<RtcVideoSource> videoSource() override {
    return std::make_shared<NativeVideoSource>();
  }

  [[nodiscard]] std::shared_ptr<RtcCameraVideoCapturer> cameraCapturer(
      const std::shared_ptr<RtcVideoSource>& source) override {
    return std::make_shared<NativeCameraCapturer>(cameras, nativeSource(source));
  }

  [[nodiscard]] std::shared_ptr<RtcVideoTrack> videoTrack(
      const std::shared_ptr<RtcVideoSource>& source, const std::string& trackID) override {
    return std::make_shared<NativeVideoTrack>(
        library, library->factory().CreateVideoTrack(trackID, nativeSource(source).get()));
  }

  [[nodiscard]] std::shared_ptr<RtcPeerConnection> peerConnection(
      const RtcConfiguration& configuration, const RtcMediaConstraints&,
      std::weak_ptr<RtcPeerConnectionObserver> observer) override {
    return NativePeerConnection::create(library, configuration, std::move(observer));
  }

 private:
  static const rtc::scoped_refptr<PushVideoSource>& nativeSource(
      const std::shared_ptr<RtcVideoSource>& source) {
    return static_cast<NativeVideoSource&>(*source).native;
  }

  const std::shared_ptr<NativeFactory> library;
  const std::shared_ptr<CameraProvider> cameras;
};

}  // namespace

NativeRtcEngine::NativeRtcEngine(std::shared_ptr<CameraProvider> provider, bool loopback)
    : cameras(std::move(provider)), useLoopback(loopback) {}

void NativeRtcEngine::initializeSSL() {
  // The library's own log names descriptions and candidates, and is not for people.
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  rtc::InitializeSSL();
}

std::unique_ptr<RtcPeerConnectionFactory> NativeRtcEngine::peerConnectionFactory() {
  auto library = NativeFactory::create(useLoopback);
  if (!library) {
    std::fputs(
        "quorvex-camera: the WebRTC library cannot start its threads; "
        "check the limit on processes (ulimit -u)\n",
        stderr);
    std::exit(1);
  }
  return std::make_unique<NativePeerConnectionFactory>(std::move(library), cameras);
}

}  // namespace quorvex
