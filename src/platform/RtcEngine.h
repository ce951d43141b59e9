#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Camera.h"
#include "platform/PixelBuffer.h"

namespace quorvex {

struct RtcIceServer {
  std::vector<std::string> urlStrings;
  std::optional<std::string> username;
  std::optional<std::string> credential;
  bool operator==(const RtcIceServer&) const = default;
};

enum class RtcSdpSemantics { unifiedPlan };
enum class RtcBundlePolicy { balanced, maxBundle };
enum class RtcContinualGatheringPolicy { gatherOnce, gatherContinually };

struct RtcConfiguration {
  std::vector<RtcIceServer> iceServers;
  RtcSdpSemantics sdpSemantics = RtcSdpSemantics::unifiedPlan;
  RtcBundlePolicy bundlePolicy = RtcBundlePolicy::balanced;
  RtcContinualGatheringPolicy continualGatheringPolicy = RtcContinualGatheringPolicy::gatherOnce;
};

struct RtcMediaConstraints {
  std::map<std::string, std::string> mandatory;
  std::map<std::string, std::string> optional;
};

struct RtcSessionDescription {
  enum class Type { offer, answer };
  Type type = Type::offer;
  std::string sdp;
};

struct RtcIceCandidate {
  std::string sdp;
  std::optional<std::string> sdpMid;
  std::int32_t sdpMLineIndex = 0;
};

enum class RtcIceConnectionState {
  new_ = 0,
  checking = 1,
  connected = 2,
  completed = 3,
  failed = 4,
  disconnected = 5,
  closed = 6,
};

struct RtcRtpEncodingParameters {
  std::optional<int> maxBitrateBps;
  std::optional<int> maxFramerate;
};
struct RtcRtpParameters {
  std::vector<RtcRtpEncodingParameters> encodings;
};

/// One decoded frame, valid for the call it is passed to. Either the engine already holds it as a
/// pixel buffer, or it is given as I420.
struct RtcVideoFrame {
  PixelBufferRef pixelBuffer;
  I420View i420;
};

/// Takes the frames of a track, on the engine's rendering thread, one at a time.
class RtcVideoRenderer {
 public:
  virtual ~RtcVideoRenderer() = default;
  virtual void setSize(int width, int height) = 0;
  virtual void renderFrame(const RtcVideoFrame* frame) = 0;
};

class RtcVideoTrack {
 public:
  virtual ~RtcVideoTrack() = default;
  [[nodiscard]] virtual std::string trackID() const = 0;
  virtual void setEnabled(bool enabled) = 0;
  /// A renderer is held until it is removed or the track is gone. After `removeRenderer` has
  /// returned no frame reaches it.
  virtual void addRenderer(std::shared_ptr<RtcVideoRenderer> renderer) = 0;
  virtual void removeRenderer(const std::shared_ptr<RtcVideoRenderer>& renderer) = 0;
};

struct RtcRtpReceiver {
  std::shared_ptr<RtcVideoTrack> videoTrack;  ///< none when the receiver's track is no video
};

class RtcRtpSender {
 public:
  virtual ~RtcRtpSender() = default;
  [[nodiscard]] virtual RtcRtpParameters parameters() const = 0;
  virtual void setParameters(const RtcRtpParameters& parameters) = 0;
};

/// What a peer connection reports, on the engine's signaling thread.
class RtcPeerConnectionObserver {
 public:
  virtual ~RtcPeerConnectionObserver() = default;
  virtual void didAddReceiver(const RtcRtpReceiver& receiver) = 0;
  virtual void didGenerateIceCandidate(const RtcIceCandidate& candidate) = 0;
  virtual void didChangeIceConnectionState(RtcIceConnectionState state) = 0;
};

/// Completions come once, on the engine's signaling thread. Dropping the last reference closes it.
class RtcPeerConnection {
 public:
  /// None of the two is set when the engine has nothing to say.
  using DescriptionCompletion =
      std::function<void(std::optional<RtcSessionDescription>, std::optional<std::string> error)>;
  using SetCompletion = std::function<void(std::optional<std::string> error)>;

  virtual ~RtcPeerConnection() = default;
  /// None when the engine refuses the track.
  [[nodiscard]] virtual std::shared_ptr<RtcRtpSender> addTrack(
      const std::shared_ptr<RtcVideoTrack>& track, const std::vector<std::string>& streamIDs) = 0;
  virtual void offerForConstraints(const RtcMediaConstraints& constraints,
                                   DescriptionCompletion completion) = 0;
  virtual void setLocalDescription(const RtcSessionDescription& description,
                                   SetCompletion completion) = 0;
  virtual void setRemoteDescription(const RtcSessionDescription& description,
                                    SetCompletion completion) = 0;
  /// Ends the connection; no observer call comes after it has returned.
  virtual void close() = 0;
};

/// Where a capturer delivers its frames and a track takes them from.
class RtcVideoSource {
 public:
  virtual ~RtcVideoSource() = default;
};

class RtcCameraVideoCapturer {
 public:
  virtual ~RtcCameraVideoCapturer() = default;
  [[nodiscard]] virtual std::vector<CaptureDevice> captureDevices() = 0;
  [[nodiscard]] virtual std::vector<CaptureFormat> supportedFormatsForDevice(
      const CaptureDevice& device) = 0;
  /// `completion` comes once, on the capturer's own thread.
  virtual void startCaptureWithDevice(const CaptureDevice& device, const CaptureFormat& format,
                                      int fps, CameraProvider::StartCompletion completion) = 0;
};

/// Makes the engine's objects. Its operations are called on the main thread.
class RtcPeerConnectionFactory {
 public:
  virtual ~RtcPeerConnectionFactory() = default;
  [[nodiscard]] virtual std::shared_ptr<RtcVideoSource> videoSource() = 0;
  [[nodiscard]] virtual std::shared_ptr<RtcCameraVideoCapturer> cameraCapturer(
      const std::shared_ptr<RtcVideoSource>& source) = 0;
  [[nodiscard]] virtual std::shared_ptr<RtcVideoTrack> videoTrack(
      const std::shared_ptr<RtcVideoSource>& source, const std::string& trackID) = 0;
  /// Holds the observer weakly. None when the engine refuses the configuration.
  [[nodiscard]] virtual std::shared_ptr<RtcPeerConnection> peerConnection(
      const RtcConfiguration& configuration, const RtcMediaConstraints& constraints,
      std::weak_ptr<RtcPeerConnectionObserver> observer) = 0;
};

class RtcEngine {
 public:
  virtual ~RtcEngine() = default;
  /// Readies the engine's TLS; once a process, before the first factory.
  virtual void initializeSSL() = 0;
  /// With the engine's default video encoders and decoders.
  [[nodiscard]] virtual std::unique_ptr<RtcPeerConnectionFactory> peerConnectionFactory() = 0;
};

}  // namespace quorvex
