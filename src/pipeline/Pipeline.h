#pragma once

#include <memory>
#include <optional>
#include <string>

#include "model/AppModel.h"
#include "pipeline/AdmissionQueue.h"
#include "pipeline/FrameWatchdog.h"
#include "pipeline/PipelineSession.h"
#include "pipeline/RestartScheduler.h"
#include "platform/Clock.h"

namespace quorvex {

/// Keeps the virtual camera fed: joins the session, the admission queue, the restarts and the frame
/// watchdog, and answers what the service and the peer connection report. Main queue only, unless
/// said otherwise.
class Pipeline : public SignalingClientDelegate,
                 public WebRTCClientDelegate,
                 public std::enable_shared_from_this<Pipeline> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    const Clock& clock;
    HttpClient& http;
    ServiceEndpoints endpoints;
    AppModel& model;
    std::shared_ptr<SignalingClient> signaling;
    std::shared_ptr<WebRTCClient> webrtc;
  };

  /// What the rest of the host does for the pipeline.
  struct Callbacks {
    std::function<void(const std::string& text)> buildStatusMenu;
    /// Shows a status line that changes often, and nothing else.
    std::function<void(const std::string& text)> setStatusLine;
    std::function<std::optional<Json>()> faceConfig;
    std::function<void()> syncPausedToServer;
    std::function<void(const std::string& kind, const std::string& connectionError,
                       const std::string& note)>
        sendDiagnosticReport;
  };

  static std::shared_ptr<Pipeline> create(Dependencies dependencies, Callbacks callbacks);

  /// The sink is ready: begins a session unless there is one. Of one that there is, the status is
  /// shown again where the virtual camera's absence had taken its place.
  void sinkReady();
  void startFrameWatchdog() { watchdog->start(); }

  /// A swapped frame has arrived. Any thread.
  void frameArrived() { watchdog->frameArrived(); }
  void remoteTrackChanged(std::shared_ptr<RtcVideoTrack> track);
  void sinkWedged();
  /// Frames are delivered again after all.
  void sinkRecovered() { showSessionStatus(); }

  /// The user wants the session built anew.
  void reconnectTapped();
  /// What travels with the offer has changed: the session is built anew, under `status` meanwhile.
  void rebuildSession(const std::string& reason, const std::string& status);
  /// The user leaves the service's queue.
  void cancelQueue();

  /// Ends the session's connections for good; the application is about to end.
  void disconnectForQuit();

  void signalingDidFail(const std::string& message) override;
  void signalingDidReceiveIdentity() override;
  void promoteFromQueue() override;
  void signalingDidReceiveQueueStatus(const std::string& status,
                                      std::optional<std::int64_t> position,
                                      std::optional<std::int64_t> total) override;
  void signalingDidReceiveMessage(const Json& message) override;

  void webRTCDidGenerateCandidate(const RtcIceCandidate& candidate) override;
  void webRTCDidChangeIceState(RtcIceConnectionState state) override;

 private:
  Pipeline(Dependencies dependencies, Callbacks callbacks);
  void makeParts();
  [[nodiscard]] std::shared_ptr<PipelineSession> makeSession();
  [[nodiscard]] std::shared_ptr<AdmissionQueue> makeAdmissionQueue();
  [[nodiscard]] std::shared_ptr<RestartScheduler> makeRestartScheduler();
  [[nodiscard]] std::shared_ptr<FrameWatchdog> makeWatchdog();
  void showStatus(const std::string& text);
  void showSessionStatus();
  void iceStateChanged(RtcIceConnectionState state);
  void tearDown();
  void goIdle(const std::string& status);
  void gaveUp(int attempts, const std::string& reason);

  const Dependencies needs;
  const Callbacks callbacks;
  std::shared_ptr<PipelineSession> session;
  std::shared_ptr<AdmissionQueue> admission;
  std::shared_ptr<RestartScheduler> restarts;
  std::shared_ptr<FrameWatchdog> watchdog;
  std::string sessionStatus;  ///< the last that the session itself has shown
};

}  // namespace quorvex
