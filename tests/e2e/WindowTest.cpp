// The window over a live session, driven by mouse and keyboard: what the user steers is seen in the
// pictures that reach the virtual camera, and in what the service has been told.
#include <gmock/gmock.h>

#include "e2e/SteeredHost.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

constexpr int kMiddle = 640, kEyes = 324, kMouth = 443;

class WindowTest : public SteeredHost {
 protected:
  /// The service sends 640x480, so that the host has something to fit and to mirror: the picture
  /// stands between bars 160 pixels wide.
  WindowTest() : SteeredHost({"--size", "640x480"}) {
    windows.emplace(defaults, [this] { terminated = host->applicationShouldTerminate(); });
  }

  void SetUp() override {
    SteeredHost::SetUp();
    for (QWindow* candidate : QGuiApplication::topLevelWindows())
      if (candidate->title() == "Quorvex") shown.emplace(*dynamic_cast<QQuickWindow*>(candidate));
    ASSERT_TRUE(shown);
    shown->key(Qt::Key_Return);
    ASSERT_TRUE(comes([&] { return !shown->shows("ConsentSheet"); }));
  }
  void press(const char* text) {
    shown->settle();
    shown->click(shown->control(text));
  }
  void chooseFromAccountMenu(const char* text) {
    shown->click(shown->item("accountButton"));
    press(text);
  }
  void control(Qt::Key key) {
    shown->key(key, Qt::ControlModifier);
    shown->settle();
  }
  void addFace(const std::string& name, std::uint8_t grey) {
    offerPhoto(name, grey);
    shown->click(shown->item("AddFaceCard"));
    ASSERT_TRUE(shows("Face set — swapping…"));
    shown->settle();
  }

  [[nodiscard]] int luma(int x, int y) {
    const auto at = picture();
    return at ? at->baseAddressOfPlane(0)[y * at->bytesPerRowOfPlane(0) + x] : -1;
  }
  /// Whether a pixel comes to have this luma, within what a video codec does to it.
  [[nodiscard]] bool turns(int x, int y, int expected) {
    return comes([&] { return std::abs(luma(x, y) - expected) < 12; });
  }
  /// The 26 cells in which the camera stamps its number, x for white.
  [[nodiscard]] std::string stamp() {
    std::string cells;
    for (int middle = 1; middle < 52; middle += 2)
      cells += luma(160 + middle * 960 / 52, 680) > 128 ? 'x' : '.';
    return cells;
  }

  std::optional<ShownWindow> shown;
  bool terminated = false;
};

TEST_F(WindowTest, showsTheFaceThatIsChosen) {
  addFace("Dark.jpg", 40);
  EXPECT_TRUE(turns(kMiddle, kEyes, 50)) << "40 of 255 is 50 in video range";
  addFace("Light.jpg", 220);
  EXPECT_TRUE(turns(kMiddle, kEyes, 205));
  shown->click(shown->item("FaceCard"));
  EXPECT_TRUE(turns(kMiddle, kEyes, 50));
  reconnect();
  EXPECT_TRUE(shows(kLive));
  EXPECT_TRUE(turns(kMiddle, kEyes, 50)) << "the face rides on the offer";
  auto& model = host->appModel();
  model.onDeleteFace(model.faces->at(0).id);
  EXPECT_TRUE(turns(kMiddle, kEyes, 205));
  model.onDeleteFace(model.faces->at(0).id);
  EXPECT_TRUE(comes([&] { return !settings()["face"]; }));
  openPanel.chosen = service.folder / "notes.jpg";
  std::ofstream(*openPanel.chosen) << "no photo";
  model.onChooseFace();
  EXPECT_TRUE(shows("Couldn't read that image — try another"));
  EXPECT_EQ(openPanel.shownPrompt, "Use Face");
  EXPECT_THAT(log.lines(), ::testing::Contains("face: failed to encode notes.jpg"));
}

TEST_F(WindowTest, steersMouthLockPauseEnhancementAndMirror) {
  addFace("Dark.jpg", 40);
  ASSERT_TRUE(turns(kMiddle, kMouth, 50));
  press("Mouth mask");
  press("Mouth mask");
  EXPECT_TRUE(comes([&] { return std::abs(luma(kMiddle, kMouth) - 50) > 15; })) << "one's own";
  press("HD");
  EXPECT_FALSE(host->appModel().hd);
  press("Lock onto my face");
  EXPECT_TRUE(turns(190, 30, 200)) << "the corner of a locked picture";
  press("Clear lock");
  EXPECT_TRUE(comes([&] { return !settings()["locked"] && std::abs(luma(190, 30) - 200) > 12; }));

  control(Qt::Key_P);
  ASSERT_TRUE(comes([&] { return settings()["paused"].get<bool>(); }));
  press("Enhance");
  mainQueue.advance(2);
  ASSERT_TRUE(shows(kLive));
  EXPECT_TRUE(comes([&] { return settings()["paused"] && settings()["enhance"]; }))
      << "the pause outlives the new session, which enhances";
  EXPECT_TRUE(turns(163, 300, 160)) << "the border of an enhanced picture";
  EXPECT_TRUE(comes([&] {
    const auto first = stamp();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return first == stamp();
  })) << "a still";
  auto mirrored = stamp();
  std::ranges::reverse(mirrored);
  EXPECT_NE(stamp(), mirrored);
  press("Flip camera");
  EXPECT_TRUE(comes([&] { return stamp() == mirrored; }));
  press("Resume");
  EXPECT_TRUE(comes([&] { return !settings()["paused"] && stamp() != mirrored; }));
  EXPECT_THAT(log.lines(),
              ::testing::IsSupersetOf(
                  {"control: calibrate (lock onto largest face)", "control: clear lock",
                   "control: PAUSE swap", "face: enhance=true",
                   "pipeline: restart #1 in 2s (enhance toggled)",
                   "sync: paused=true → server (post-(re)connect)", "control: flip=true"}));

  control(Qt::Key_Backslash);
  EXPECT_FALSE(shown->shows("selfViewBox"));
  control(Qt::Key_Backslash);
  const auto middle = shown->rect("selfViewBox").center();
  const QColor before = shown->colourAt(middle);
  shown->click(shown->item("selfViewBox"));
  EXPECT_TRUE(comes([&] { return shown->colourAt(middle) != before; })) << "it shows the swap now";
}

TEST_F(WindowTest, waitsReconnectsSignsInAndQuits) {
  service.control("faults", {{"places", 0}, {"ahead", 3}});
  service.control("peers", {{"vanish", true}});  // or it would keep its place
  chooseFromAccountMenu("Reconnect");
  mainQueue.advance(2);
  ASSERT_TRUE(shows("In queue — #4 of 4"));
  shown->settle();
  shown->click(shown->item("cancelQueue"));
  ASSERT_TRUE(shows("Left queue — click Reconnect to go live"));
  service.control("faults", {{"places", 1}, {"ahead", 0}});
  control(Qt::Key_R);
  mainQueue.advance(2);
  ASSERT_TRUE(shows(kLive));

  chooseFromAccountMenu("Sign In…");
  ASSERT_TRUE(comes([&] { return !workspace.opened.empty(); }));

  for (const auto answer : {Qt::Key_Escape, Qt::Key_Return}) {
    EXPECT_FALSE(terminated);
    ASSERT_TRUE(comes([&] { return shown->quick.isActive(); }));
    answerAlert(answer);
    control(Qt::Key_Q);
  }
  EXPECT_TRUE(terminated);
}

}  // namespace
}  // namespace quorvex::test
