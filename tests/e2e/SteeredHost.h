#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <fstream>
#include <mutex>

#include "app/AppDelegate.h"
#include "e2e/HostRun.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeImages.h"
#include "fakes/FakeService.h"
#include "fakes/ManualQueue.h"
#include "linux/cameras/PatternCamera.h"
#include "linux/images/VipsImageCodec.h"
#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtLoopbackListener.h"
#include "linux/qt/QtWebSocketClient.h"
#include "linux/qt/SystemCrypto.h"
#include "linux/threads/ThreadQueue.h"
#include "linux/vcam/EmbeddedCamera.h"
#include "linux/vcam/VirtualCameraDevices.h"
#include "linux/webrtc/NativeRtcEngine.h"
#include "support/ServiceRun.h"
#include "ui/QtWindows.h"

namespace quorvex::test {

/// The host in this process, on real HTTP, WebSocket, WebRTC and a real service, but on a clock
/// that the test moves.
class SteeredHost : public SteeredTest {
 protected:
  explicit SteeredHost(const std::vector<std::string>& serviceOptions = {},
                       std::shared_ptr<CameraProvider> webcam =
                           std::make_shared<PatternCamera>(std::make_shared<FrameLedger>()))
      : service(serviceOptions), camera(std::move(webcam)) {}
  void SetUp() override {
    const auto makeQueue = [](const std::string& label) {
      return std::make_shared<ThreadQueue>(label);
    };
    AppDelegate::Platform platform{mainQueue, makeQueue,  background, clock,      http,
                                   sockets,   defaults,   systemLog,  cmio,       engine,
                                   images,    {},         {},         &openPanel, auth,
                                   workspace, extensions, {},         {},         {}};
    platform.environment = [](const char*) { return std::nullopt; };
    if (windows) {
      platform.windows = &*windows;
      platform.makeMainWindow = [this](AppModel& model) { return windows->makeMainWindow(model); };
    }
    host = std::make_shared<AppDelegate>(
        platform, ServiceEndpoints{service.bases["web"], service.bases["api"],
                                   service.bases["socket"], "127.0.0.1", "support@example.org"});
    host->applicationDidFinishLaunching();
    ASSERT_TRUE(shows(kLive));
    // Pictures come last of all: no news of this connection is on its way any more, which would
    // start the count of restarts anew in the midst of a test.
    ASSERT_TRUE(comes([&] { return static_cast<bool>(picture()); }));
  }
  ~SteeredHost() override {
    service.process->signal(SIGTERM);
    EXPECT_EQ(service.process->exitCode(), 0) << "the service ends while a peer is live";
    host->applicationWillTerminate();
    host.reset();
    mainQueue.run();
  }

  [[nodiscard]] bool comes(const std::function<bool()>& condition) {
    return eventually([&] {
      QApplication::processEvents();
      mainQueue.run();
      return condition();
    });
  }
  [[nodiscard]] bool shows(const std::string& status) {
    const bool shown = comes([&] { return host->appModel().statusText.get() == status; });
    EXPECT_TRUE(shown) << "the status is still " << host->appModel().statusText.get();
    return shown;
  }
  /// The newest picture that has reached the virtual camera.
  [[nodiscard]] PixelBufferRef picture() {
    std::lock_guard hold(mutex);
    return lastDelivered;
  }
  /// Lets the next one be from now on.
  void forgetPicture() {
    std::lock_guard hold(mutex);
    lastDelivered = {};
  }
  [[nodiscard]] nlohmann::json settings() const {
    return service.state()["clients"][0]["settings"];
  }
  /// The photo that will be picked next, of one grey.
  void offerPhoto(const std::string& name, std::uint8_t grey) {
    const RgbImage photo{300, 200, std::vector<std::uint8_t>(300 * 200 * 3, grey)};
    openPanel.chosen = service.folder / name;
    std::ofstream(*openPanel.chosen, std::ios::binary) << *images.jpeg(photo, 0.9);
  }
  void reconnect() {
    host->appModel().onReconnect();
    mainQueue.advance(2);
  }

  /// Made once a process, and stays: Qt's animations outlive neither it nor the process.
  static QApplication& makeApplication() {
    static int noArguments = 0;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    static auto* const forAll = new QApplication(noArguments, nullptr);
    return *forAll;
  }

  std::mutex mutex;
  PixelBufferRef lastDelivered;  ///< by mutex
  QApplication& application = makeApplication();
  ServiceRun service;
  std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  QtHttpClient http{network};
  QtWebSocketClient sockets{network};
  FakeDefaults defaults;
  FakeSystemLog systemLog;
  VirtualCameraDevices cmio{
      {std::make_shared<EmbeddedCamera>(service.folder / "camera", [](std::string_view) {})},
      [](std::string_view) {},
      [this](const CMSampleBuffer& sample) {
        std::lock_guard hold(mutex);
        lastDelivered = sample.imageBuffer;
      }};
  VipsImageCodec images;
  std::optional<QtWindows> windows;  ///< none, unless a test makes them
  FakeOpenPanel openPanel;
  FakeKeyStore keyStore;
  SystemCrypto crypto;
  QtLoopbackListeners listeners;
  FakeWorkspace workspace;
  FakeExtensions extensions;
  std::shared_ptr<AuthManager> auth = std::make_shared<AuthManager>(AuthManager::Dependencies{
      mainQueue, clock, http, keyStore, crypto, listeners, workspace, service.bases["web"]});
  ThreadQueue background{"background"};
  std::shared_ptr<CameraProvider> camera;
  NativeRtcEngine engine{camera, true};
  std::shared_ptr<AppDelegate> host;
};

}  // namespace quorvex::test
