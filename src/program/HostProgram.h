#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/AppDelegate.h"
#include "linux/cameras/LatencyProbe.h"
#include "linux/desktop/DesktopWorkspace.h"
#include "linux/desktop/DriverActivation.h"
#include "linux/desktop/JournalSystemLog.h"
#include "linux/desktop/SecretServiceKeyStore.h"
#include "linux/images/VipsImageCodec.h"
#include "linux/qt/QtDefaults.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtLoopbackListener.h"
#include "linux/qt/QtMainQueue.h"
#include "linux/qt/QtWebSocketClient.h"
#include "linux/qt/SystemCrypto.h"
#include "linux/threads/SteadyClock.h"
#include "linux/threads/ThreadQueue.h"
#include "linux/vcam/FaultyCoreMediaIO.h"
#include "linux/vcam/VirtualCameraDevices.h"
#include "linux/webrtc/NativeRtcEngine.h"
#include "program/Console.h"
#include "program/CountingCamera.h"
#include "program/FaultCommands.h"
#include "program/MainThreadWatch.h"
#include "program/Options.h"
#include "program/RunMonitor.h"
#include "program/VirtualCameraChoice.h"
#include "ui/DesktopApplication.h"
#include "ui/QtOpenPanel.h"
#include "ui/QtWindows.h"

namespace quorvex {

class NetworkThread;

/// The host on this machine's adapters: what stands under the controller, from the event loop to
/// the camera, and the controller itself. Lives within main, on its thread.
class HostProgram {
 public:
  struct Setup {
    Options options;
    ServiceEndpoints endpoints;
    std::string settingsPath;  ///< the user's settings, or the demo's own
    bool serviceIsLocal = false;
    std::function<std::optional<std::string>(const char* name)> environment;
  };

  HostProgram(Setup setup, Console& console);
  ~HostProgram();

  /// Runs the event loop until `quit`, the time given or a termination signal; the exit code is 0
  /// when pictures have reached the virtual camera or nobody set a time, else 1.
  int run();

  /// `quorvex-camera account …`, in place of `run`: "sign-in", "sign-out" or "status". The exit
  /// code: 0 done or signed in, 1 not, or not for longer than this program, 2 no such command.
  int account(const std::string& command);

  /// Takes leave of the service and ends the event loop; asks nobody. Main thread.
  void quit();

  /// Brings the main window to the front. Main thread.
  void openWindow();

 private:
  /// What is shown on the desktop, where there is one.
  struct Desktop {
    Desktop(Defaults& defaults, std::function<void()> terminate)
        : windows(defaults, std::move(terminate)) {}
    QtWindows windows;
    QtOpenPanel openPanel;
  };

  [[nodiscard]] AppDelegate::Platform platform();
  void terminate();
  [[nodiscard]] RunMonitor::Sources watched();
  [[nodiscard]] std::function<void(std::string_view)> logAndNote();
  [[nodiscard]] bool listenForFaults();
  [[nodiscard]] int signIn();
  [[nodiscard]] bool writeReport() const;

  const Setup setup;
  Console& console;
  QtMainQueue mainQueue;
  SteadyClock clock;
  JournalSystemLog systemLog;
  QtDefaults defaults;
  std::atomic<bool> keyStoreFailed = false;
  SecretServiceKeyStore keyStore;
  SystemCrypto crypto;
  QtLoopbackListeners listeners;
  std::shared_ptr<NetworkThread> network;
  QtHttpClient http;
  QtWebSocketClient webSockets;
  VipsImageCodec images;
  ThreadQueue background{"qxc-background"};  ///< ends before what its tasks use
  DesktopWorkspace workspace{mainQueue, background};
  std::shared_ptr<FrameLedger> ledger;
  LatencyProbe probe;
  VirtualCameraChoice virtualCamera;
  DriverActivation extensions;
  VirtualCameraDevices cmio;
  std::unique_ptr<FaultyCoreMediaIO> faultyCmio;  ///< in its place, where faults are asked for
  std::optional<FaultCommands> faultCommands;
  std::shared_ptr<CountingCamera> camera;
  NativeRtcEngine engine;
  std::shared_ptr<AuthManager> auth;
  std::unique_ptr<Desktop> desktop;  ///< none when headless
  std::shared_ptr<AppDelegate> delegate;
  std::optional<MainThreadWatch> mainThread;  ///< where its findings are asked for
  RunMonitor monitor;
};

}  // namespace quorvex
