#include "app/AppDelegate.h"

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr const char* kSinkQueueLabel = "com.tessaly.quorvexcamera.sink";
constexpr Seconds kRelaunchDelay{1.5};

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
  activation = makeActivation();
  menus = makeMenus();
  menus->buildMainMenu();
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
  buildMainWindow();
  if (forced) {
    hostLog("RC_FORCE_ACTIVATE → requesting replace activation up front");
    buildStatusMenu("Updating extension…");
    return activation->reinstall();
  }
  frameProducer->start();
  buildStatusMenu("Connecting to virtual camera…");
}

std::shared_ptr<Pipeline> AppDelegate::makePipeline() {
  Pipeline::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](AppDelegate& self, const std::string& text) { self.buildStatusMenu(text); });
  wiring.setStatusLine = weakly(
      this, [](AppDelegate& self, const std::string& text) { self.menus->setStatusLine(text); });
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
  frameProducer->onDeviceMissing = weakly(
      this, [relaunched](AppDelegate& self) { self.activation->handleDeviceMissing(relaunched); });
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
  model.onReportBug = weakly(this, [](AppDelegate& self) { self.reportBug(); });
  model.onCancelQueue = weakly(this, [](AppDelegate& self) { self.pipeline->cancelQueue(); });
}

std::shared_ptr<Menus> AppDelegate::makeMenus() {
  const auto run = [this](auto action) { return weakly(this, action); };
  Menus::Actions actions{
      {MenuAction::openWindow, run([](AppDelegate& self) { self.openWindow(); })},
      {MenuAction::menuPause, run([](AppDelegate& self) { self.controls->togglePause(); })},
      {MenuAction::menuFlip, run([](AppDelegate& self) { self.controls->toggleFlip(); })},
      {MenuAction::menuToggleSelfView,
       run([](AppDelegate& self) { self.model.showSelfView = !self.model.showSelfView; })},
      {MenuAction::reconnectTapped,
       run([](AppDelegate& self) { self.pipeline->reconnectTapped(); })},
      {MenuAction::menuHelp,
       run([](AppDelegate& self) { self.platform.workspace.open(self.endpoints.webBase, {}); })},
      {MenuAction::reportBug, run([](AppDelegate& self) { self.reportBug(); })},
      {MenuAction::signInTapped, run([](AppDelegate& self) { self.account->signIn(); })},
      {MenuAction::signOutTapped, run([](AppDelegate& self) { self.account->signOut(); })},
      {MenuAction::chooseFace, run([](AppDelegate& self) { self.faces->chooseFace(); })},
      {MenuAction::clearFace, run([](AppDelegate& self) { self.faces->clearFace(); })},
      {MenuAction::toggleEnhance, run([](AppDelegate& self) { self.controls->toggleEnhance(); })},
      {MenuAction::reinstall, run([](AppDelegate& self) { self.activation->reinstall(); })},
      {MenuAction::quit, run([](AppDelegate& self) { self.platform.terminate(); })}};
  return std::make_shared<Menus>(
      Menus::Dependencies{platform.windows, model, platform.defaults, faceStore, platform.auth},
      std::move(actions));
}

void AppDelegate::buildMainWindow() {
  if (!platform.makeMainWindow) return;
  window = platform.makeMainWindow(model);
  window->makeKeyAndOrderFront();
}

void AppDelegate::openWindow() {
  if (!pipeline) return;  // the launch will
  if (window && window->isVisible()) return window->makeKeyAndOrderFront();
  if (window) window->close();
  window.reset();
  buildMainWindow();
}

void AppDelegate::reportBug() {
  hostLog("menu: Report a Bug tapped");
  platform.workspace.open(
      bugReportUrl(endpoints.supportAddress, platform.bundle,
                   platform.auth->storedRefreshToken().has_value(), model.statusText),
      {});
}

std::shared_ptr<ExtensionActivation> AppDelegate::makeActivation() {
  ExtensionActivation::Callbacks wiring;
  wiring.buildStatusMenu =
      weakly(this, [](AppDelegate& self, const std::string& text) { self.buildStatusMenu(text); });
  wiring.sendDiagnosticReport = weakly(
      this, [](AppDelegate& self, const auto& kind, const auto& connectionError, const auto& note) {
        self.diagnostics.sendDiagnosticReport(kind, connectionError, note);
      });
  wiring.relaunchApp = weakly(this, [](AppDelegate& self) { self.relaunchApp(); });
  return std::make_shared<ExtensionActivation>(
      ExtensionActivation::Dependencies{platform.mainQueue, platform.systemLog, platform.extensions,
                                        platform.bundle},
      std::move(wiring));
}

void AppDelegate::relaunchApp() {
  const auto open = [](AppDelegate& self) {
    self.platform.workspace.openApplication(
        {{"RC_RELAUNCHED", "1"}},
        weakly(&self, [](AppDelegate& old, bool) { old.platform.terminate(); }));
  };
  relaunch = platform.mainQueue.after(kRelaunchDelay, weakly(this, open));
}

bool AppDelegate::applicationShouldTerminate() {
  const auto isCancelled = [this] {
    return platform.windows->runModal(
               {.messageText = "Quit Quorvex Camera?",
                .informativeText =
                    "Your virtual camera is live. Quitting stops it — others in your "
                    "call will see your camera freeze or drop.",
                .buttons = {"Quit", "Cancel"}}) != 0;
  };
  if (model.isLive && platform.windows && isCancelled()) return false;
  applicationWillTerminate();
  return true;
}

void AppDelegate::applicationWillTerminate() {
  hostLog("lifecycle: quitting — disconnecting cleanly");
  if (pipeline) pipeline->disconnectForQuit();
}

}  // namespace quorvex
