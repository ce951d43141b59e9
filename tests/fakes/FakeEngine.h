#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/RtcEngine.h"

namespace quorvex {

/// A peer connection engine that does what a test tells it to and keeps what it was asked for.
class FakeTrack : public RtcVideoTrack {
 public:
  explicit FakeTrack(std::string name) : id(std::move(name)) {}
  [[nodiscard]] std::string trackID() const override { return id; }
  void setEnabled(bool on) override { enabled = on; }
  void addRenderer(std::shared_ptr<RtcVideoRenderer> renderer) override {
    renderers.push_back(std::move(renderer));
  }
  void removeRenderer(const std::shared_ptr<RtcVideoRenderer>& renderer) override {
    std::erase(renderers, renderer);
  }

  std::string id;
  bool enabled = false;
  std::vector<std::shared_ptr<RtcVideoRenderer>> renderers;
};

class FakeSender : public RtcRtpSender {
 public:
  [[nodiscard]] RtcRtpParameters parameters() const override { return current; }
  void setParameters(const RtcRtpParameters& wanted) override { current = wanted; }
  RtcRtpParameters current{{{}, {}}};
};

class FakePeer : public RtcPeerConnection {
 public:
  std::shared_ptr<RtcRtpSender> addTrack(const std::shared_ptr<RtcVideoTrack>& track,
                                         const std::vector<std::string>&) override {
    addedTrack = track;
    return sender;
  }
  void offerForConstraints(const RtcMediaConstraints&, DescriptionCompletion completion) override {
    offerDone = std::move(completion);
    if (offers)
      offerDone(RtcSessionDescription{RtcSessionDescription::Type::offer, "offer-sdp"}, {});
  }
  void setLocalDescription(const RtcSessionDescription&, SetCompletion completion) override {
    completion({});
  }
  void setRemoteDescription(const RtcSessionDescription& description,
                            SetCompletion completion) override {
    remote = description;
    completion({});
  }
  void close() override { closed = true; }

  RtcConfiguration configuration;
  std::weak_ptr<RtcPeerConnectionObserver> observer;
  std::shared_ptr<RtcVideoTrack> addedTrack;
  std::shared_ptr<FakeSender> sender = std::make_shared<FakeSender>();
  bool offers = true;  ///< answers an offer request at once
  DescriptionCompletion offerDone;
  std::optional<RtcSessionDescription> remote;
  bool closed = false;
};

class FakeCapturer : public RtcCameraVideoCapturer {
 public:
  struct State {
    std::vector<CaptureDevice> devices{{"cam0", "Webcam"}};
    std::vector<CaptureFormat> formats{{1280, 720, 0, {{60}}}};
    std::optional<std::string> startError;
    std::string started;
    int starts = 0;
  };
  explicit FakeCapturer(State& shared) : state(shared) {}
  std::vector<CaptureDevice> captureDevices() override { return state.devices; }
  std::vector<CaptureFormat> supportedFormatsForDevice(const CaptureDevice&) override {
    return state.formats;
  }
  void startCaptureWithDevice(const CaptureDevice& device, const CaptureFormat& format, int fps,
                              CameraProvider::StartCompletion completion) override {
    ++state.starts;
    state.started = device.name + " " + std::to_string(format.width) + "x" +
                    std::to_string(format.height) + "@" + std::to_string(fps);
    completion(state.startError);
  }

 private:
  State& state;
};

class FakeEngine : public RtcEngine {
 public:
  void initializeSSL() override {}
  std::unique_ptr<RtcPeerConnectionFactory> peerConnectionFactory() override {
    return std::make_unique<Factory>(*this);
  }
  [[nodiscard]] FakePeer& last() const { return *peers.back(); }

  FakeCapturer::State camera;
  std::vector<std::shared_ptr<FakePeer>> peers;

 private:
  struct Factory : RtcPeerConnectionFactory {
    explicit Factory(FakeEngine& owner) : engine(owner) {}
    std::shared_ptr<RtcVideoSource> videoSource() override {
      return std::make_shared<RtcVideoSource>();
    }
    std::shared_ptr<RtcCameraVideoCapturer> cameraCapturer(
        const std::shared_ptr<RtcVideoSource>&) override {
      return std::make_shared<FakeCapturer>(engine.camera);
    }
    std::shared_ptr<RtcVideoTrack> videoTrack(const std::shared_ptr<RtcVideoSource>&,
                                              const std::string& id) override {
      return std::make_shared<FakeTrack>(id);
    }
    std::shared_ptr<RtcPeerConnection> peerConnection(
        const RtcConfiguration& configuration, const RtcMediaConstraints&,
        std::weak_ptr<RtcPeerConnectionObserver> observer) override {
      engine.peers.push_back(std::make_shared<FakePeer>());
      engine.last().configuration = configuration;
      engine.last().observer = std::move(observer);
      return engine.peers.back();
    }
    FakeEngine& engine;
  };
};

}  // namespace quorvex
