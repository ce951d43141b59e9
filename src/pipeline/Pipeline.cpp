#include "pipeline/Pipeline.h"

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {

std::shared_ptr<Pipeline> Pipeline::create(Dependencies dependencies, Callbacks callbacks) {
  std::shared_ptr<Pipeline> made(new Pipeline(std::move(dependencies), std::move(callbacks)));
  made->makeParts();
  return made;
}

Pipeline::Pipeline(Dependencies dependencies, Callbacks wiring)
    : needs(std::move(dependencies)), callbacks(std::move(wiring)) {}

void Pipeline::makeParts() {
  session = makeSession();
  admission = makeAdmissionQueue();
  restarts = makeRestartScheduler();
  watchdog = makeWatchdog();
}

std::shared_ptr<PipelineSession> Pipeline::makeSession() {
  PipelineSession::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](Pipeline& self, const std::string& text) { self.showStatus(text); });
  wiring.faceConfig = callbacks.faceConfig;
  wiring.scheduleRestart = weakly(this, [](Pipeline& self, std::string reason, auto retryAfter) {
    self.restarts->scheduleRestart(std::move(reason), retryAfter);
  });
  wiring.resetRestartAttempts =
      weakly(this, [](Pipeline& self) { self.restarts->resetAttempts(); });
  wiring.queued = weakly(
      this, [](Pipeline& self, auto position) { self.admission->setQueueState(true, position); });
  wiring.notQueued = weakly(this, [](Pipeline& self) { self.admission->setQueueState(false); });
  return std::make_shared<PipelineSession>(
      PipelineSession::Dependencies{needs.mainQueue, needs.http, needs.endpoints, needs.signaling,
                                    needs.webrtc},
      std::move(wiring));
}

std::shared_ptr<AdmissionQueue> Pipeline::makeAdmissionQueue() {
  AdmissionQueue::Callbacks wiring;
  wiring.showPosition = weakly(this, [](Pipeline& self, const std::string& label) {
    self.sessionStatus = label;
    self.callbacks.setStatusLine(label);
  });
  wiring.offerAgain = weakly(this, [](Pipeline& self) {
    self.showStatus("Reconnecting…");
    self.promoteFromQueue();
  });
  wiring.timedOut =
      weakly(this, [](Pipeline& self) { self.goIdle("Queue didn't move — click Reconnect"); });
  return std::make_shared<AdmissionQueue>(needs.mainQueue, needs.model, std::move(wiring));
}

std::shared_ptr<RestartScheduler> Pipeline::makeRestartScheduler() {
  RestartScheduler::Callbacks wiring;
  wiring.restart = weakly(this, [](Pipeline& self) {
    self.tearDown();
    self.session->startPipeline();
  });
  wiring.restartScheduled = weakly(this, [](Pipeline& self) { self.showStatus("Reconnecting…"); });
  wiring.gaveUp = weakly(this, [](Pipeline& self, int attempts, const std::string& reason) {
    self.gaveUp(attempts, reason);
  });
  return std::make_shared<RestartScheduler>(needs.mainQueue, needs.clock, std::move(wiring));
}

std::shared_ptr<FrameWatchdog> Pipeline::makeWatchdog() {
  // The parts live exactly as long as the pipeline that owns them.
  return std::make_shared<FrameWatchdog>(
      needs.mainQueue, needs.clock,
      [this] {
        return session->isStarted() && !restarts->isRestartPending() && !needs.model.isQueued;
      },
      [this](int seconds) {
        restarts->scheduleRestart("frame stall " + std::to_string(seconds) + "s");
      });
}

void Pipeline::remoteTrackChanged(std::shared_ptr<RtcVideoTrack> track) {
  const bool present = track != nullptr;
  needs.model.remoteTrack = std::move(track);
  needs.model.isLive = present;
  if (present) callbacks.syncPausedToServer();
}

void Pipeline::showStatus(const std::string& text) {
  sessionStatus = text;
  callbacks.buildStatusMenu(text);
}

void Pipeline::showSessionStatus() {
  if (needs.model.statusText.get() != sessionStatus) callbacks.buildStatusMenu(sessionStatus);
}

void Pipeline::sinkReady() {
  if (session->isStarted())
    showSessionStatus();
  else
    session->startPipeline();
}

void Pipeline::sinkWedged() {
  hostLog("pipeline: CMIO sink wedged — host rebuild ineffective; relaunch needed");
  callbacks.buildStatusMenu("Camera feed stuck — Quit & reopen to recover");
}

void Pipeline::reconnectTapped() {
  hostLog("menu: Reconnect tapped");
  restarts->resetAttempts();
  restarts->cancelRestart();
  restarts->scheduleRestart("manual reconnect");
}

void Pipeline::rebuildSession(const std::string& reason, const std::string& status) {
  restarts->resetAttempts();
  showStatus(status);
  restarts->scheduleRestart(reason);
}

void Pipeline::cancelQueue() {
  hostLog("queue: cancel tapped — leaving queue, idling");
  goIdle("Left queue — click Reconnect to go live");
}

void Pipeline::disconnectForQuit() {
  admission->cancelWait();
  needs.signaling->disconnectStatusSocket();
  needs.webrtc->close();
}

void Pipeline::tearDown() {
  session->tearDown();
  watchdog->clear();
  admission->setQueueState(false);
}

void Pipeline::goIdle(const std::string& status) {
  restarts->cancelRestart();
  restarts->cancelIceGrace();
  needs.signaling->clearLastClientID();
  tearDown();
  showStatus(status);
}

void Pipeline::gaveUp(int attempts, const std::string& reason) {
  callbacks.sendDiagnosticReport(
      "reconnect-exhausted",
      "auto-reconnect gave up after " + std::to_string(attempts) + " attempts", reason);
  admission->setQueueState(false);
  showStatus("Disconnected — click Reconnect to retry");
}

void Pipeline::signalingDidFail(const std::string& message) {
  hostLog("pipeline: signaling fatal: " + message);
  if (message.find("PAUSE_TIMEOUT") == std::string::npos) return restarts->scheduleRestart(message);
  needs.mainQueue.async(weakly(this, [](Pipeline& self) {
    self.needs.model.paused = false;
    self.showStatus("Reconnecting…");
  }));
  restarts->scheduleRestart("pause/idle timeout — reconnect unpaused");
}

void Pipeline::signalingDidReceiveIdentity() {
  session->sendOffer(session->generation());
}

void Pipeline::promoteFromQueue() {
  if (needs.model.isQueued) admission->setQueueState(false);
  session->promote();
}

void Pipeline::signalingDidReceiveQueueStatus(const std::string& status,
                                              std::optional<std::int64_t> position,
                                              std::optional<std::int64_t> total) {
  admission->signalingDidReceiveQueueStatus(status, position, total);
}

void Pipeline::signalingDidReceiveMessage(const Json& message) {
  const auto type = textMember(message, "type").value_or("?");
  hostLog("pipeline: control " + type);
  if (type != "fps_suggestion") return;
  if (const auto fps = truncatedMember(message, "fps")) needs.webrtc->setMaxFramerate(*fps);
}

void Pipeline::webRTCDidGenerateCandidate(const RtcIceCandidate& candidate) {
  needs.signaling->sendIceCandidate(candidate);
}

void Pipeline::webRTCDidChangeIceState(RtcIceConnectionState state) {
  needs.mainQueue.async(weakly(this, [state](Pipeline& self) { self.iceStateChanged(state); }));
}

void Pipeline::iceStateChanged(RtcIceConnectionState state) {
  switch (state) {
    case RtcIceConnectionState::connected:
    case RtcIceConnectionState::completed:
      restarts->cancelIceGrace();
      return restarts->resetAttempts();
    case RtcIceConnectionState::failed:
      if (session->isStarted()) restarts->scheduleRestart("ICE failed");
      return;
    case RtcIceConnectionState::disconnected:
      if (session->isStarted()) restarts->startIceGrace();
      return;
    case RtcIceConnectionState::new_:
    case RtcIceConnectionState::checking:
    case RtcIceConnectionState::closed:
      return;
  }
}

}  // namespace quorvex
