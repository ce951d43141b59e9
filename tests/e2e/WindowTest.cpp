// The window over a live session, driven by mouse and keyboard.
#include <gmock/gmock.h>

#include "e2e/SteeredHost.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

class WindowTest : public SteeredHost {
 protected:
  WindowTest()
      : SteeredHost({}, std::make_shared<PatternCamera>(std::make_shared<FrameLedger>()),
                    Desktop::offscreen) {}

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
  std::optional<ShownWindow> shown;
};

TEST_F(WindowTest, steersTheSwap) {
  EXPECT_TRUE(defaults.boolean("rc.consent.v1"));
  auto& model = host->appModel();
  offerPhoto("Anna.jpg", 200);
  shown->click(shown->item("AddFaceCard"));
  ASSERT_TRUE(shows("Face set — swapping…"));
  EXPECT_TRUE(comes([&] { return settings()["face"].get<bool>(); }));
  shown->settle();
  ASSERT_EQ(shown->all("FaceCard").size(), 1U);
  EXPECT_TRUE(shown->item("FaceCard")->property("active").toBool());

  press("Lock onto my face");
  EXPECT_TRUE(comes([&] { return settings()["locked"].get<bool>(); }));
  press("Pause");
  EXPECT_TRUE(comes([&] { return settings()["paused"].get<bool>(); }));
  shown->key(Qt::Key_P, Qt::ControlModifier);
  EXPECT_TRUE(comes([&] { return !settings()["paused"]; }));
  shown->key(Qt::Key_Backslash, Qt::ControlModifier);
  shown->settle();
  EXPECT_FALSE(shown->shows("selfViewBox"));
  shown->key(Qt::Key_Backslash, Qt::ControlModifier);
  shown->settle();
  const auto middle = shown->rect("selfViewBox").center();
  const QColor before = shown->colourAt(middle);
  shown->click(shown->item("selfViewBox"));
  EXPECT_TRUE(model.showSelfBig);
  EXPECT_TRUE(comes([&] { return shown->colourAt(middle) != before; })) << "it shows the swap now";
}

TEST_F(WindowTest, waitsReconnectsSignsInAndQuits) {
  service.control("faults", {{"places", 0}, {"ahead", 3}});
  service.control("peers", {{"vanish", true}});  // or it would keep its place
  chooseFromAccountMenu("Reconnect");
  mainQueue.advance(2);
  ASSERT_TRUE(shows("In queue — #4 of 4"));
  shown->settle();
  EXPECT_TRUE(shown->shows("queueOverlay"));
  shown->click(shown->item("cancelQueue"));
  ASSERT_TRUE(shows("Left queue — click Reconnect to go live"));
  service.control("faults", {{"places", 1}, {"ahead", 0}});
  shown->key(Qt::Key_R, Qt::ControlModifier);
  mainQueue.advance(2);
  ASSERT_TRUE(shows(kLive));

  chooseFromAccountMenu("Sign In…");
  ASSERT_TRUE(comes([&] { return !workspace.opened.empty(); }));
  shown->settle();
  shown->click(shown->item("accountButton"));
  shown->settle();
  EXPECT_FALSE(shown->control("Signing in…")->isEnabled());
  shown->key(Qt::Key_Escape);

  answerAlert(Qt::Key_Escape);
  shown->key(Qt::Key_Q, Qt::ControlModifier);
  EXPECT_FALSE(terminated);
  EXPECT_TRUE(host->appModel().isLive);
  ASSERT_TRUE(comes([&] { return shown->quick.isActive(); }));
  answerAlert(Qt::Key_Return);
  shown->key(Qt::Key_Q, Qt::ControlModifier);
  EXPECT_TRUE(terminated);
}

}  // namespace
}  // namespace quorvex::test
