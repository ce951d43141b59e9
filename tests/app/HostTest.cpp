// The host as it is put together at launch, on fakes of everything that it stands on.
#include <gmock/gmock.h>

#include "app/HostFixture.h"

namespace quorvex {
namespace {

using namespace testing;

TEST_F(HostTest, goesLiveStepByStepAndLogsTheRoad) {
  launch();
  EXPECT_EQ(status(), "Connecting to quorvex…");
  EXPECT_TRUE(cmio.allowed);
  goLive();
  EXPECT_EQ(status(), "Live ✓ — swapped camera ready");
  EXPECT_TRUE(host->appModel().isLive);
  EXPECT_TRUE(track->enabled);
  frame();
  EXPECT_EQ(cmio.queue->samples.size(), 1u);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "installDeviceListListener status=0", "connectToSink: attempting…",
          "CMIO devices visible: 1", "connectToSink: device=7 sink=9; initializing queue",
          "CMIOStreamCopyBufferQueue status=0", "CMIODeviceStartStream status=0",
          "sink connected; ready for swapped frames", "pipeline: sink ready → minting token",
          "signaling: minted token type=device brand=quorvex", "webrtc: capturing Webcam @30fps",
          "webrtc: maxBitrate set to 3000 kbps", "webrtc: peer connection created (1 ice servers)",
          "signaling: WS connecting (reconnect=false)", "signaling: identity received",
          "signaling: got answer (face_swap_ready=nil)", "webrtc: remote answer applied",
          "pipeline: answer applied=true", "webrtc: ontrack — swapped video track received",
          "sync: paused=false → server (post-(re)connect)"));
}

TEST_F(HostTest, readsIceServersInAnyShapeAndKeepsThemForAFailedFetch) {
  launch();
  connect(R"({"iceServers":[{"urls":"turn:a"},{"urls":[]},{"urls":[1]},7,
      {"urls":["turn:b","turn:c"],"username":"n","credential":"p","more":1}]})");
  const std::vector<RtcIceServer> expected{{{"stun:stun.example:19302"}, {}, {}},
                                           {{"turn:a"}, {}, {}},
                                           {{"turn:b", "turn:c"}, "n", "p"}};
  EXPECT_EQ(engine.last().configuration.iceServers, expected);
  sockets.last().end(1006);
  settle();
  wait(2.1);
  mint();
  http.fail("api/turn-credentials", "timed out");
  settle();
  EXPECT_EQ(engine.last().configuration.iceServers, expected);
}

TEST_F(HostTest, dropsWhatASupersededSessionStillSays) {
  launch();
  mint();
  host->appModel().onCancelQueue();
  http.reply("api/turn-credentials", 200, "{}");
  settle();
  EXPECT_TRUE(engine.peers.empty());
  EXPECT_EQ(status(), "Left queue — click Reconnect to go live");

  host->appModel().onReconnect();
  wait(2.1);
  connect();
  engine.last().offers = false;
  identify();
  const auto lateOffer = engine.last().offerDone;
  host->appModel().onCancelQueue();
  lateOffer(RtcSessionDescription{}, {});
  settle();

  host->appModel().onReconnect();
  wait(2.1);
  connect();
  identify();
  host->appModel().onCancelQueue();
  answerOffer(R"({"sdp":"late"})");
  EXPECT_FALSE(engine.last().remote);
  EXPECT_THAT(
      log.lines(),
      IsSupersetOf(
          {"pipeline: dropping pipeline build — session superseded during ICE fetch",
           "pipeline: dropping offer result — session superseded (cancel/restart) mid-flight"}));
}

TEST_F(HostTest, reportsWhatItCannotMendAtMostOnceAMinuteAKind) {
  DiagnosticReporter reporter(http, clock, "https://api.example/");
  const std::vector<std::pair<double, std::string>> asked{{0, "a"}, {0, "b"}, {59, "a"}, {1, "a"}};
  for (const auto& [later, kind] : asked) {
    clock.time += later;
    reporter.sendDiagnosticReport(kind, "it failed",
                                  kind == "b" ? std::optional("why") : std::nullopt);
  }
  ASSERT_EQ(http.pending.size(), 3u);
  const HttpRequest request = http.pending[0].request;
  EXPECT_EQ(request.method + " " + request.url, "POST https://api.example/api/diagnostic-report");
  EXPECT_EQ(request.timeout, Seconds(5));
  const auto record = [&](int i) { return Json::parse(*http.pending.at(i).request.body); };
  const std::string trace = record(0)["traceId"];
  EXPECT_THAT(trace, ::testing::MatchesRegex("[A-HJ-NP-Z2-9]{4}-[A-HJ-NP-Z2-9]{4}"));
  EXPECT_NE(trace, makeTraceId());
  EXPECT_EQ(record(0), (Json{{"traceId", trace},
                             {"connectionError", "it failed"},
                             {"note", "macOS desktop (quorvex-camera)"}}));
  EXPECT_EQ(record(1)["note"], "macOS desktop (quorvex-camera) — why");
  EXPECT_EQ(record(1)["traceId"], trace);
}

TEST_F(HostTest, relaunchesAfterEachActivation) {
  launch();
  goLive();
  windows.target.lock()->perform(MenuAction::reinstall);
  EXPECT_EQ(extensions.reconsidered, 1);
  extensions.requester.lock()->requestNeedsUserApproval();
  settle();
  EXPECT_EQ(status(), "Approve in System Settings ›");
  extensions.requester.lock()->requestDidFinish(1);
  settle();
  EXPECT_EQ(status(), "Installed ✓ — relaunching to start…");
  wait(1.4);
  EXPECT_TRUE(workspace.instances.empty());
  windows.answer = 1;
  wait(0.2);
  EXPECT_THAT(workspace.instances,
              ElementsAre(std::map<std::string, std::string>{{"RC_RELAUNCHED", "1"}}));
  EXPECT_EQ(windows.alerts.back().messageText, "Quit Quorvex Camera?") << "the session is live";
  EXPECT_FALSE(windows.hasTerminated);
}

TEST_F(HostTest, givesUpOnACameraThatIsMissingAfterARelaunch) {
  environment = {{"RC_RELAUNCHED", "1"}};
  cmio.devices.clear();
  launch();
  wait(5);
  EXPECT_EQ(status(), "Virtual camera not found — check System Settings");
  EXPECT_TRUE(extensions.requests.empty());
  EXPECT_EQ(extensions.doneWithout, 1);
  EXPECT_EQ(Json::parse(*http.take("api/diagnostic-report").request.body)["connectionError"],
            "virtual camera not visible after activation + relaunch");
}

TEST_F(HostTest, asksOnceForAMissingCameraDoesWithoutAndConnectsWhenItComes) {
  cmio.devices = {{3, "Other", {4, 5}}};
  launch();
  wait(5);
  EXPECT_EQ(status(), "Approve in System Settings, then relaunch");
  EXPECT_EQ(extensions.requests.size(), 1);
  EXPECT_EQ(extensions.reconsidered, 0);
  auto lines = log.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "connectToSink: attempting…"), 8);
  EXPECT_THAT(lines, Contains("connectToSink: device absent after 8 tries → activation needed"));
  extensions.requester.lock()->requestDidFail({"domain", 126, "Nothing doing", "{}"});
  settle();
  EXPECT_EQ(status(), "Failed: Nothing doing");
  EXPECT_EQ(extensions.doneWithout, 1);
  EXPECT_THAT(log.lines(), Contains("activation didFailWithError domain=domain code=126"));
  EXPECT_THAT(systemLog.entries,
              IsSupersetOf({"host: extension activation failed: domain=domain code=126 "
                            "desc=Nothing doing userInfo={}",
                            "host: bundlePath=/usr sysExtDir=/nowhere entries=()"}));
  cmio.devices.push_back({7, "Quorvex Camera", {8, 9, 10}});
  cmio.listener();
  settle();
  EXPECT_EQ(cmio.openedStream, 9u);
  EXPECT_EQ(status(), "Connecting to quorvex…");
}

TEST_F(HostTest, diesQuietlyWithCallbacksStillOutstanding) {
  launch();
  goLive();
  const auto peer = engine.peers.back();
  const auto renderer = track->renderers.at(0);
  auto socket = sockets.opened.back();
  std::weak_ptr<AppDelegate> gone = host;
  host.reset();
  EXPECT_TRUE(gone.expired());
  renderer->renderFrame(nullptr);
  socket->end(1006);
  cmio.queueAltered();
  cmio.listener();
  wait(10);
}

TEST_F(HostTest, theMainMenuActsOnTheModelAndFollowsIt) {
  launch();
  const auto target = windows.target.lock();
  const auto& view = windows.mainMenu.at(2).items;
  MenuItem pause = view[0], flip = view[1], selfView = view[2];
  target->perform(MenuAction::reportBug);
  EXPECT_EQ(workspace.opened.back(),
            "mailto:help@web.example?subject=Quorvex%20Camera%20bug%20report&body="
            "Describe%20what%20happened%3A%0A%0A%0A"
            "%E2%80%94%E2%80%94%E2%80%94%20diagnostics%20%28please%20keep%29%20"
            "%E2%80%94%E2%80%94%E2%80%94%0AApp%3A%20Quorvex%20Camera%201.2%20%28%3F%29%0A"
            "macOS%3A%20Linux%207%0AAccount%3A%20not%20signed%20in%0A"
            "Status%3A%20Connecting%20to%20quorvex%E2%80%A6");
  EXPECT_FALSE(target->validateMenuItem(pause)) << "not live";
  EXPECT_EQ(pause.title, "Pause");
  goLive();
  target->perform(MenuAction::menuPause);
  target->perform(MenuAction::menuFlip);
  EXPECT_TRUE(target->validateMenuItem(pause));
  EXPECT_EQ(pause.title, "Resume");
  EXPECT_TRUE(target->validateMenuItem(flip) && flip.checked);
  EXPECT_TRUE(target->validateMenuItem(selfView) && selfView.checked);
  target->perform(MenuAction::menuToggleSelfView);
  EXPECT_TRUE(target->validateMenuItem(selfView) && !selfView.checked);
  target->perform(MenuAction::menuHelp);
  EXPECT_EQ(workspace.opened.back(), "https://web.example");
  host->appModel().onManageAccount();
  EXPECT_EQ(workspace.opened.back(), "https://web.example/faceswap");
  host->appModel().onSignOut();
  EXPECT_EQ(status(), "Signed out");
}

TEST_F(HostTest, theStatusMenuShowsAccountFaceAndEnhancementAsOfTheLastStatus) {
  const auto lines = [this] {
    std::vector<std::string> shown;
    for (const MenuItem& item : windows.statusMenu.items)
      shown.push_back((item.enabled ? "" : "(") + item.title + (item.checked ? "*" : "") +
                      (item.key.empty() ? "" : " ^" + item.key));
    return shown;
  };
  launch();
  EXPECT_THAT(lines(), ElementsAre("(Quorvex Camera — Connecting to quorvex…", "", "Sign In…", "",
                                   "(No face chosen (passthrough)", "Open Window ^o",
                                   "Choose Face… ^f", "Enhance Face (sharper)", "", "Reconnect",
                                   "Re-install extension ^r", "Quit ^q"));
  const auto target = windows.target.lock();
  openPanel.chosen = "/photos/Anna & Bob.jpg";
  target->perform(MenuAction::chooseFace);
  settle();
  target->perform(MenuAction::toggleEnhance);
  target->perform(MenuAction::signInTapped);
  EXPECT_THAT(lines(), ElementsAre("(Quorvex Camera — Signing in — finish in your browser…", "",
                                   "(Signing in…", "", "(Face: Anna & Bob", "Open Window ^o",
                                   "Choose Face… ^f", "Clear Face", "Enhance Face (sharper)*", "",
                                   "Reconnect", "Re-install extension ^r", "Quit ^q"));
  EXPECT_EQ(lines().front(), "(Quorvex Camera — " + status());
  connect();
  identify();
  const int built = windows.statusMenusBuilt;
  answerOffer(R"({"status":"queued","queue_position":4})");
  EXPECT_EQ(lines().front(), "(Quorvex Camera — In queue — #4");
  EXPECT_EQ(status(), "In queue — #4");
  EXPECT_EQ(windows.statusMenusBuilt, built) << "a place in the queue only renames the first line";
}

TEST_F(HostTest, theWindowComesBackAndOnlyALiveHostAsksBeforeItQuits) {
  launch();
  const auto target = windows.target.lock();
  EXPECT_EQ(windows.windowsMade, 1);
  target->perform(MenuAction::openWindow);
  EXPECT_EQ(std::pair(windows.windowsMade, windows.broughtForward), std::pair(1, 2));
  windows.windowIsVisible = false;
  host->openWindow();
  EXPECT_EQ(windows.windowsMade, 2);
  goLive();
  target->perform(MenuAction::quit);
  EXPECT_EQ(windows.alerts.at(0).messageText, "Quit Quorvex Camera?");
  EXPECT_TRUE(windows.hasTerminated);
  EXPECT_EQ(sockets.last().cancelledWith, 1001);
  EXPECT_TRUE(engine.last().closed);
  EXPECT_TRUE(track->renderers.empty());
  EXPECT_EQ(log.lines().back(), "lifecycle: quitting — disconnecting cleanly");
}

}  // namespace
}  // namespace quorvex
