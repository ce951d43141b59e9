#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/ExtensionActivation.h"
#include "app/Menus.h"
#include "auth/AccountActions.h"
#include "faces/FaceActions.h"
#include "faces/SwapControls.h"
#include "media/WebRTCClient.h"
#include "model/AppModel.h"
#include "pipeline/Pipeline.h"
#include "platform/Clock.h"
#include "platform/CoreMediaIO.h"
#include "platform/Defaults.h"
#include "platform/DispatchQueue.h"
#include "platform/HttpClient.h"
#include "platform/RtcEngine.h"
#include "platform/SystemLog.h"
#include "platform/WebSocket.h"
#include "platform/Windows.h"
#include "signaling/SignalingClient.h"
#include "sink/FrameProducer.h"
#include "support/BugReport.h"
#include "support/DiagnosticReporter.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {

/// The application's controller: constructs the host's parts on what the desktop gives, wires them
/// at launch, and ends them cleanly. The work itself is theirs. Main thread only.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
 public:
  /// What the desktop gives. All of it outlives the controller.
  struct Platform {
    DispatchQueue& mainQueue;
    std::function<std::shared_ptr<DispatchQueue>(const std::string& label)> makeSerialQueue;
    DispatchQueue& backgroundQueue;  ///< for work that a user waits for
    const Clock& clock;
    HttpClient& http;
    WebSocketClient& webSockets;
    Defaults& defaults;
    SystemLog& systemLog;
    CoreMediaIO& cmio;
    RtcEngine& rtcEngine;
    const ImageCodec& images;
    /// None of these three where nothing is shown.
    Windows* windows;
    std::function<std::unique_ptr<Window>(AppModel&)> makeMainWindow;
    OpenPanel* openPanel;
    std::shared_ptr<AuthManager> auth;
    Workspace& workspace;
    SystemExtensions& extensions;
    std::function<std::optional<std::string>(const char* name)> environment;
    BundleInformation bundle;
    /// Ends the application if `applicationShouldTerminate` agrees.
    std::function<void()> terminate;
  };

  AppDelegate(Platform platform, ServiceEndpoints endpoints);

  /// Wires everything and sets out to find the virtual camera; the session follows from there.
  void applicationDidFinishLaunching();

  /// Asks the user when others would notice, and disconnects cleanly; true when the process may
  /// end.
  [[nodiscard]] bool applicationShouldTerminate();
  /// Disconnects cleanly and asks nobody: the process is about to end.
  void applicationWillTerminate();

  /// Brings the main window to the front; makes a new one when it has been closed.
  void openWindow();

  [[nodiscard]] AppModel& appModel() { return model; }
  [[nodiscard]] SinkStatistics sinkStatistics() const { return frameProducer->statistics(); }

 private:
  [[nodiscard]] bool isSet(const char* variable) const;
  [[nodiscard]] std::shared_ptr<Pipeline> makePipeline();
  void wireFrameProducer(bool relaunched);
  void wireWebRTC();
  [[nodiscard]] std::shared_ptr<FaceActions> makeFaceActions();
  [[nodiscard]] std::shared_ptr<SwapControls> makeSwapControls();
  [[nodiscard]] std::shared_ptr<AccountActions> makeAccountActions();
  void wireModelActions();
  void wireFaceActions();
  void wireAccountActions();
  [[nodiscard]] std::shared_ptr<Menus> makeMenus();
  void buildStatusMenu(const std::string& text) { menus->buildStatusMenu(text); }
  void buildMainWindow();
  void reportBug();
  [[nodiscard]] std::shared_ptr<ExtensionActivation> makeActivation();
  void relaunchApp();

  const Platform platform;
  const ServiceEndpoints endpoints;
  std::shared_ptr<FrameProducer> frameProducer;
  AppModel model;
  std::unique_ptr<Window> window;
  DiagnosticReporter diagnostics;
  std::shared_ptr<SignalingClient> signaling;
  std::shared_ptr<WebRTCClient> webrtc;
  std::shared_ptr<FaceStore> faceStore;
  std::shared_ptr<Menus> menus;
  std::shared_ptr<FaceActions> faces;
  std::shared_ptr<SwapControls> controls;
  std::shared_ptr<AccountActions> account;
  std::shared_ptr<ExtensionActivation> activation;
  std::shared_ptr<Pipeline> pipeline;
  std::unique_ptr<Timer> relaunch;
};

}  // namespace quorvex
