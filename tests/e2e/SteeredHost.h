#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <fstream>
#include <mutex>

#include "app/AppDelegate.h"
#include "e2e/ServiceRun.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeImages.h"
#include "fakes/FakeService.h"
#include "fakes/LogFile.h"
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
#include "ui/QtWindows.h"

namespace quorvex::test {

/// The host in this process, on real HTTP, WebSocket, WebRTC and a real service, but on a clock
/// that the test moves.
class SteeredHost : public ::testing::Test {
 protected:
  enum class Desktop { none, offscreen };

  explicit SteeredHost(std::vector<std::string> serviceOptions = {},
                       std::shared_ptr<CameraProvider> webcam =
                           std::make_shared<PatternCamera>(std::make_shared<FrameLedger>()),
                       Desktop desktop = Desktop::none)
      : application(makeApplication(desktop)),
        service(std::move(serviceOptions)),
        windows(desktop == Desktop::none
                    ? nullptr
                    : std::make_unique<QtWindows>(
                          defaults, [this] { terminated = host->applicationShouldTerminate(); })),
        camera(std::move(webcam)) {}
  void SetUp() override {
    host->applicationDidFinishLaunching();
    ASSERT_TRUE(shows(kLive));
    // Pictures come last of all: no news of this connection is on its way any more, which would
    // start the count of restarts anew in the midst of a test.
    ASSERT_TRUE(comes([&] { return static_cast<bool>(picture()); }));
  }
  ~SteeredHost() override {
    host->applicationWillTerminate();
    host.reset();
    mainQueue.run();
  }

  [[nodiscard]] bool comes(const std::function<bool()>& condition) {
    return eventually([&] {
      QCoreApplication::processEvents();
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

  /// What draws windows is made once a process and stays: Qt's animations outlive neither it nor
  /// the process.
  std::unique_ptr<QCoreApplication> makeApplication(Desktop desktop) {
    if (QCoreApplication::instance()) return nullptr;
    if (desktop == Desktop::none) return std::make_unique<QCoreApplication>(argumentCount, nullptr);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    static int noArguments = 0;
    [[maybe_unused]] static const auto* const forAll = new QApplication(noArguments, nullptr);
    return nullptr;
  }

  std::mutex mutex;
  PixelBufferRef lastDelivered;  ///< by mutex
  int argumentCount = 0;
  std::unique_ptr<QCoreApplication> application;
  LogFile log;
  ServiceRun service;
  VirtualClock clock;
  ManualQueue mainQueue{clock};
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
  bool terminated = false;
  std::unique_ptr<QtWindows> windows;
  std::function<std::unique_ptr<Window>(AppModel&)> makeWindow = [this](AppModel& model) {
    return windows->makeMainWindow(model);
  };
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
  std::shared_ptr<AppDelegate> host = std::make_shared<AppDelegate>(
      AppDelegate::Platform{
          mainQueue,
          [](const std::string& label) { return std::make_shared<ThreadQueue>(label); },
          background,
          clock,
          http,
          sockets,
          defaults,
          systemLog,
          cmio,
          engine,
          images,
          windows.get(),
          windows ? makeWindow : nullptr,
          &openPanel,
          auth,
          workspace,
          extensions,
          [](const char*) { return std::optional<std::string>(); },
          {},
          {}},
      ServiceEndpoints{service.bases["web"], service.bases["api"], service.bases["socket"],
                       "127.0.0.1", "support@example.org"});
};

}  // namespace quorvex::test
