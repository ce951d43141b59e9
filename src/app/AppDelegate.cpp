#include "app/AppDelegate.h"

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr const char* kSinkQueueLabel = "com.tessaly.quorvexcamera.sink";

}  // namespace

AppDelegate::AppDelegate(Platform desktop, ServiceEndpoints service)
    : platform(std::move(desktop)),
      endpoints(std::move(service)),
      frameProducer(std::make_shared<FrameProducer>(FrameProducer::Dependencies{
          platform.cmio, platform.mainQueue, platform.makeSerialQueue(kSinkQueueLabel),
          platform.clock, platform.systemLog})),
      model(platform.defaults),
      diagnostics(platform.http, platform.clock, endpoints.apiBase),
      signaling(std::make_shared<SignalingClient>(
          SignalingClient::Dependencies{platform.mainQueue, platform.http, platform.webSockets,
                                        platform.defaults, endpoints, platform.auth.get()})),
      webrtc(std::make_shared<WebRTCClient>(platform.rtcEngine, platform.mainQueue)),
      faceStore(std::make_shared<FaceStore>(platform.defaults, platform.images)) {}

bool AppDelegate::isSet(const char* variable) const {
  return platform.environment(variable) == "1";
}

void AppDelegate::applicationDidFinishLaunching() {
  pipeline = makePipeline();
  faces = makeFaceActions();
  controls = makeSwapControls();
  account = makeAccountActions();
  buildStatusMenu("Starting…");
  const bool relaunched = isSet("RC_RELAUNCHED");
  const bool forced = isSet("RC_FORCE_ACTIVATE") && !relaunched;
  signaling->setDelegate(pipeline);
  webrtc->setDelegate(pipeline);
  wireWebRTC();
  wireFrameProducer(relaunched);
  pipeline->startFrameWatchdog();
  wireModelActions();
  model.mouthMask = true;
  model.enhance = platform.defaults.boolean("rc.enhance");
  faces->refreshFaces();
  if (forced) {
    hostLog("RC_FORCE_ACTIVATE → requesting replace activation up front");
    return activate("Updating extension…");
  }
  frameProducer->start();
  buildStatusMenu("Connecting to virtual camera…");
}

std::shared_ptr<Pipeline> AppDelegate::makePipeline() {
  Pipeline::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](AppDelegate& self, const std::string& text) { self.buildStatusMenu(text); });
  wiring.faceConfig = [store = faceStore] { return store->faceConfig(); };
  wiring.syncPausedToServer =
      weakly(this, [](AppDelegate& self) { self.controls->syncPausedToServer(); });
  wiring.sendDiagnosticReport = weakly(
      this, [](AppDelegate& self, const auto& kind, const auto& connectionError, const auto& note) {
        self.diagnostics.sendDiagnosticReport(kind, connectionError, note);
      });
  return Pipeline::create(
      {platform.mainQueue, platform.clock, platform.http, endpoints, model, signaling, webrtc},
      std::move(wiring));
}

void AppDelegate::wireFrameProducer(bool relaunched) {
  frameProducer->onDeviceMissing =
      weakly(this, [relaunched](AppDelegate& self) { self.handleDeviceMissing(relaunched); });
  frameProducer->onSinkReady = weakly(this, [](AppDelegate& self) { self.pipeline->sinkReady(); });
  frameProducer->onSinkWedged =
      weakly(this, [](AppDelegate& self) { self.pipeline->sinkWedged(); });
  frameProducer->onSinkRecovered =
      weakly(this, [](AppDelegate& self) { self.pipeline->sinkRecovered(); });
}

void AppDelegate::wireWebRTC() {
  webrtc->onRemoteFrame = weakly(this, [](AppDelegate& self, const PixelBufferRef& frame) {
    self.pipeline->frameArrived();
    self.frameProducer->push(frame);
  });
  webrtc->onRemoteTrack = weakly(
      this, [](AppDelegate& self, const auto& track) { self.pipeline->remoteTrackChanged(track); });
  webrtc->onLocalTrack =
      weakly(this, [](AppDelegate& self, const auto& track) { self.model.localTrack = track; });
}

std::shared_ptr<FaceActions> AppDelegate::makeFaceActions() {
  FaceActions::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](AppDelegate& self, const std::string& text) { self.buildStatusMenu(text); });
  wiring.sendConfig = [client = signaling](Json config) { client->sendConfig(std::move(config)); };
  return std::make_shared<FaceActions>(
      FaceActions::Dependencies{platform.mainQueue, platform.backgroundQueue, model, faceStore,
                                platform.openPanel},
      std::move(wiring));
}

std::shared_ptr<SwapControls> AppDelegate::makeSwapControls() {
  SwapControls::Callbacks wiring;
  wiring.sendConfig = [client = signaling](Json config) { client->sendConfig(std::move(config)); };
  wiring.sendControl = [client = signaling](const std::string& type) { client->sendControl(type); };
  wiring.setMaxBitrate = [client = webrtc](int bitrate) { client->setMaxBitrate(bitrate); };
  wiring.setFlipped = [producer = frameProducer](bool flipped) { producer->flipped = flipped; };
  wiring.enhanceToggled = weakly(this, [](AppDelegate& self) {
    self.pipeline->rebuildSession("enhance toggled", "Applying enhance… (~5s)");
  });
  return std::make_shared<SwapControls>(platform.defaults, model, std::move(wiring));
}

std::shared_ptr<AccountActions> AppDelegate::makeAccountActions() {
  AccountActions::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](AppDelegate& self, const std::string& text) { self.buildStatusMenu(text); });
  wiring.changeSession =
      weakly(this, [](AppDelegate& self, const std::string& reason, const std::string& status) {
        self.signaling->clearLastClientID();
        self.pipeline->rebuildSession(reason, status);
      });
  return std::make_shared<AccountActions>(
      AccountActions::Dependencies{platform.mainQueue, platform.auth, platform.workspace,
                                   endpoints.webBase},
      std::move(wiring));
}

void AppDelegate::wireAccountActions() {
  model.onSignIn = weakly(this, [](AppDelegate& self) { self.account->signIn(); });
  model.onSignOut = weakly(this, [](AppDelegate& self) { self.account->signOut(); });
  model.onManageAccount = weakly(this, [](AppDelegate& self) { self.account->manageAccount(); });
}

void AppDelegate::wireFaceActions() {
  model.onChooseFace = weakly(this, [](AppDelegate& self) { self.faces->chooseFace(); });
  model.onSelectFace =
      weakly(this, [](AppDelegate& self, const std::string& id) { self.faces->selectFace(id); });
  model.onDeleteFace =
      weakly(this, [](AppDelegate& self, const std::string& id) { self.faces->deleteFace(id); });
}

void AppDelegate::wireModelActions() {
  wireFaceActions();
  wireAccountActions();
  const auto control = [this](void (SwapControls::*change)()) {
    return weakly(this, [change](AppDelegate& self) { ((*self.controls).*change)(); });
  };
  model.onToggleEnhance = control(&SwapControls::toggleEnhance);
  model.onToggleMouthMask = control(&SwapControls::toggleMouthMask);
  model.onToggleHD = control(&SwapControls::toggleHD);
  model.onToggleFlip = control(&SwapControls::toggleFlip);
  model.onTogglePause = control(&SwapControls::togglePause);
  model.onCalibrate = control(&SwapControls::calibrate);
  model.onClearLock = control(&SwapControls::clearLock);
  model.onReconnect = weakly(this, [](AppDelegate& self) { self.pipeline->reconnectTapped(); });
  model.onCancelQueue = weakly(this, [](AppDelegate& self) { self.pipeline->cancelQueue(); });
}

void AppDelegate::buildStatusMenu(const std::string& text) {
  model.statusText = text;
  model.isSignedIn = platform.auth->storedRefreshToken().has_value();
  model.isSigningIn = platform.auth->isSigningIn();
}

void AppDelegate::activate(const std::string& status) {
  buildStatusMenu(status);
  if (requestActivation) requestActivation();
}

void AppDelegate::handleDeviceMissing(bool relaunched) {
  if (relaunched) {
    hostLog("device still missing after post-activation relaunch — giving up");
    diagnostics.sendDiagnosticReport(
        "device-giveup", "virtual camera not visible after activation + relaunch",
        "CMIO device absent — likely sysext activation failure or cmio daemon wedge");
    return buildStatusMenu("Virtual camera not found — check System Settings");
  }
  hostLog("device missing → requesting activation (relaunch required after approval)");
  activate("Approve in System Settings, then relaunch");
}

bool AppDelegate::applicationShouldTerminate() {
  hostLog("lifecycle: quitting — disconnecting cleanly");
  pipeline->disconnectForQuit();
  return true;
}

}  // namespace quorvex
