#pragma once

#include <gtest/gtest.h>

#include <map>

#include "app/AppDelegate.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeCmio.h"
#include "fakes/FakeEngine.h"
#include "fakes/FakeImages.h"
#include "fakes/FakeService.h"
#include "fakes/FakeWindows.h"
#include "fakes/ManualQueue.h"

namespace quorvex {

inline constexpr const char* kToken = R"({"token":"t.x","user_uuid":"u1","type":"device"})";
inline constexpr const char* kIdentity = R"({"type":"identity","client_id":"c1"})";

/// The host as it is put together at launch, on fakes of everything that it stands on.
class HostTest : public SteeredTest {
 protected:
  HostTest() { cmio.devices = {{7, "Quorvex Camera", {8, 9}}}; }

  void launch() {
    host->applicationDidFinishLaunching();
    settle();
  }
  void settle() {
    for (int i = 0; i < 4; ++i) {
      mainQueue.run();
      if (!sinkRunsElsewhere) sinkQueue->run();
    }
  }
  void wait(double seconds) {
    // Both queues run on the one clock, a tenth of a second at a time.
    for (double passed = 0; passed < seconds - 1e-9; passed += 0.1) {
      const double start = clock.time;
      mainQueue.advance(0.1);
      clock.time = start;
      sinkQueue->advance(0.1);
      mainQueue.run();
    }
  }
  void mint() {
    http.reply("api/session-token", 200, kToken);
    settle();
  }
  void connect(const std::string& servers = "{}") {
    mint();
    http.reply("api/turn-credentials", 200, servers);
    settle();
  }
  void identify() {
    sockets.last().say(kIdentity);
    settle();
  }
  void answerOffer(const std::string& body) {
    http.reply("ws/offer", 200, body);
    settle();
  }
  void goLive() {
    connect();
    identify();
    answerOffer(R"({"sdp":"answer-sdp"})");
    track = std::make_shared<FakeTrack>("swapped");
    engine.last().observer.lock()->didAddReceiver({track});
    settle();
  }
  void frame() {
    const std::vector<std::uint8_t> grey(64 * 36, 90);
    const RtcVideoFrame received{
        .pixelBuffer = {}, .i420 = {64, 36, grey.data(), grey.data(), grey.data(), 64, 32, 32}};
    track->renderers.at(0)->renderFrame(&received);
    settle();
  }
  [[nodiscard]] std::string status() { return host->appModel().statusText; }

  bool sinkRunsElsewhere = false;  ///< a thread of the test's own runs the sink queue
  std::shared_ptr<ManualQueue> sinkQueue = std::make_shared<ManualQueue>(clock);
  FakeHttp http;
  FakeWebSockets sockets;
  FakeDefaults defaults;
  FakeSystemLog systemLog;
  FakeCmio cmio;
  FakeEngine engine;
  FakeImages images;
  FakeWindows windows;
  FakeOpenPanel openPanel;
  FakeKeyStore keyStore;
  FakeCrypto crypto;
  FakeListeners listeners;
  FakeWorkspace workspace;
  FakeExtensions extensions;
  std::shared_ptr<AuthManager> auth = std::make_shared<AuthManager>(AuthManager::Dependencies{
      mainQueue, clock, http, keyStore, crypto, listeners, workspace, "https://web.example"});
  std::map<std::string, std::string> environment;
  std::shared_ptr<FakeTrack> track;
  std::shared_ptr<AppDelegate> host = std::make_shared<AppDelegate>(
      AppDelegate::Platform{mainQueue,
                            [this](const std::string&) { return sinkQueue; },
                            mainQueue,
                            clock,
                            http,
                            sockets,
                            defaults,
                            systemLog,
                            cmio,
                            engine,
                            images,
                            &windows,
                            [this](AppModel&) { return windows.makeWindow(); },
                            &openPanel,
                            auth,
                            workspace,
                            extensions,
                            [this](const char* name) {
                              const auto found = environment.find(name);
                              return found == environment.end() ? std::nullopt
                                                                : std::optional(found->second);
                            },
                            {"1.2", std::nullopt, "Linux 7", "/usr", "/nowhere"},
                            [this] { windows.hasTerminated = host->applicationShouldTerminate(); }},
      ServiceEndpoints{"https://web.example", "https://api.example", "wss://api.example",
                       "stun.example", "help@web.example"});
};

}  // namespace quorvex
