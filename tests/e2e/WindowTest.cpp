// The window over a live session, driven by mouse and keyboard.
#include "e2e/SteeredHost.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

class WindowTest : public SteeredHost {
 protected:
  WindowTest() {
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
  bool isSet(const char* setting) {
    return comes([&] { return settings()[setting].get<bool>(); });
  }
  std::optional<ShownWindow> shown;
  bool terminated = false;
};

TEST_F(WindowTest, steersTheSwap) {
  offerPhoto("Anna.jpg", 200);
  shown->click(shown->item("AddFaceCard"));
  ASSERT_TRUE(shows("Face set — swapping…"));
  EXPECT_TRUE(isSet("face"));
  press("Lock onto my face");
  EXPECT_TRUE(isSet("locked"));
  press("Pause");
  EXPECT_TRUE(isSet("paused"));
  control(Qt::Key_P);
  EXPECT_TRUE(comes([&] { return !settings()["paused"]; }));
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
