// The views over a model, measured and pressed in the running window.
#include <gmock/gmock.h>

#include <QBuffer>
#include <QImage>

#include "fakes/FakeEngine.h"
#include "fakes/FakeService.h"
#include "ui/QtWindows.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

using ::testing::ElementsAre;

class ViewsTest : public ::testing::Test {
 protected:
  ViewsTest() {
    defaults.setBoolean("rc.consent.v1", true);
    open();
  }
  void open() {
    shown.reset();
    window.reset();
    model.emplace(defaults);
    windows.setMainMenu({}, {});
    window = windows.makeMainWindow(*model);
    window->makeKeyAndOrderFront();
    shown.emplace(*window);
    EXPECT_TRUE(comes([&] { return shown->quick.isExposed(); }));
  }
  template <class Condition>
  bool comes(Condition condition) {
    return eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }
  void settle() { shown->settle(); }

  static SavedFace face(const std::string& id, const std::string& name, QColor colour) {
    QImage picture(160, 120, QImage::Format_RGB32);
    picture.fill(colour);
    QBuffer jpeg;
    picture.save(&jpeg, "JPEG");
    return {id, name, jpeg.data().toBase64().toStdString()};
  }

  FakeDefaults defaults;
  std::optional<AppModel> model;
  QtWindows windows{defaults, [] {}};
  std::unique_ptr<Window> window;
  std::optional<ShownWindow> shown;
};

TEST_F(ViewsTest, lieWhereTheyBelongAtEverySize) {
  model->isLive = true;
  model->faces = {face("a", "Anna", Qt::red), face("b", "Bob", Qt::blue), face("c", "C", Qt::gray)};
  EXPECT_EQ(shown->content()->size(), QSizeF(980, 620));
  EXPECT_EQ(shown->quick.title(), "Quorvex");
  for (const QSize size : {QSize(980, 620), QSize(880, 560), QSize(1700, 1000)}) {
    shown->resize(size);
    settle();
    const qreal w = size.width(), h = size.height();
    const QRectF bar = shown->rect("StatusBar"), footer = shown->rect("FooterHint");
    EXPECT_EQ(bar, QRectF(0, 0, w, bar.height()));
    EXPECT_EQ(footer, QRectF(0, h - footer.height(), w, footer.height()));
    const qreal top = bar.height() + 1, height = h - top - footer.height() - 1;
    EXPECT_EQ(shown->rect("FacesRail"), QRectF(0, top, 140, height));
    EXPECT_EQ(shown->rect("AdjustRail"), QRectF(w - 176, top, 176, height));
    const QRectF stage = shown->rect("PreviewStage");
    EXPECT_EQ(stage, QRectF(141, top, w - 140 - 176 - 2, height));
    EXPECT_EQ(shown->rect("panel"), stage.adjusted(14, 14, -14, -14));
    EXPECT_EQ(shown->rect("brandMark"), QRectF(16, (bar.height() - 18) / 2, 18, 18));
    EXPECT_EQ(shown->rect("chip").topLeft(), stage.topLeft() + QPointF(22, 22));
    EXPECT_EQ(shown->rect("pauseButton").topRight(), stage.topRight() + QPointF(-22, 22));
    const QSizeF box(std::max(0.22 * stage.width(), 120.0),
                     std::max(0.22 * 9 / 16 * stage.width(), 80.0));
    EXPECT_EQ(shown->rect("selfViewBox"),
              QRectF(stage.bottomRight() - QPointF(24 + box.width(), 24 + box.height()), box));
    const auto cards = shown->all("FaceCard");
    ASSERT_EQ(cards.size(), 3U);
    const QRectF first = shown->rect(cards[0]);
    EXPECT_EQ(first.size(), QSizeF(54, 54));
    EXPECT_EQ(first.x(), 12);
    EXPECT_EQ(shown->rect(cards[1]), first.translated(62, 0));
    EXPECT_EQ(shown->rect(cards[2]), first.translated(0, 62));
    EXPECT_EQ(shown->rect("AddFaceCard"), first.translated(62, 62));
    EXPECT_EQ(shown->rect("calibrate").width(), 148);
  }
  EXPECT_EQ(shown->quick.minimumHeight(), 560 + shown->quick.height() - 1000);
}

TEST_F(ViewsTest, haveTheColoursOfThePalette) {
  model->isLive = true;
  model->showSelfView = false;
  model->faces = {face("red", "Anna", Qt::red), {"broken", "no picture", "AAAA"}};
  model->activeFaceID = "red";
  settle();
  const auto cards = shown->all("FaceCard");
  ASSERT_EQ(cards.size(), 2U);
  ASSERT_TRUE(comes([&] { return shown->colourAt(shown->rect(cards[0]).center()).red() > 240; }));
  const auto centre = [&](const char* name) { return shown->rect(name).center(); };
  const std::vector<std::tuple<const char*, QPointF, QColor>> places{
      {"status bar", {300, 4}, "#F1FAF0"},
      {"separator", {300, shown->rect("StatusBar").bottom()}, "#BBE0BF"},
      {"rail", {6, 300}, "#E6F4E6"},
      {"stage", centre("panel") + QPointF(0, 150), "#0F1416"},
      {"live dot", centre("liveDot"), "#84CC16"},
      {"active border",
       {shown->rect(cards[0]).x() + 1, shown->rect(cards[0]).center().y()},
       "#84CC16"},
      {"placeholder", shown->rect(cards[1]).center(), "#D2EFD5"},
      {"add tile", shown->rect("AddFaceCard").topLeft() + QPointF(10, 10), "#F1FAF0"},
      {"filled pill", shown->rect("calibrate").topLeft() + QPointF(6, 6), "#84CC16"},
      {"brand's dot", centre("brandMark"), "#84CC16"},
  };
  for (const auto& [name, at, colour] : places)
    EXPECT_EQ(shown->colourAt(at).name(), colour.name()) << name;
}

TEST_F(ViewsTest, sayOneThingAtATimeOnTheStage) {
  const auto track = std::make_shared<FakeTrack>("swapped");
  struct State {
    bool live, paused, queued, track;
    const char* overlay;
    const char* chip;
    const char* button;
  };
  for (const State& state : {State{false, false, false, false, "connectingOverlay", "", ""},
                             {true, false, false, true, "", "LIVE", "Pause"},
                             {true, true, false, true, "pauseBanner", "PAUSED", "Resume"},
                             {false, true, false, false, "pauseBanner", "PAUSED", "Resume"},
                             {false, true, true, false, "queueOverlay", "", ""},
                             {true, false, true, true, "queueOverlay", "LIVE", ""}}) {
    model->isLive = state.live;
    model->paused = state.paused;
    model->isQueued = state.queued;
    model->remoteTrack = state.track ? track : nullptr;
    settle();
    for (const char* overlay : {"connectingOverlay", "pauseBanner", "queueOverlay"})
      EXPECT_EQ(shown->shows(overlay), std::string(overlay) == state.overlay) << overlay;
    EXPECT_EQ(shown->shows("chip") ? shown->item("chip")->property("text") : "", state.chip);
    EXPECT_EQ(shown->shows("pauseButton") ? shown->item("pauseButton")->property("text") : "",
              state.button);
  }
}

TEST_F(ViewsTest, callTheModelsActionsAndShowOnlyWhatItHolds) {
  model->locked = true;
  settle();
  // Without an action a switch stays as the model has it.
  shown->click(shown->control("HD"));
  EXPECT_TRUE(shown->control("HD")->property("on").toBool());
  std::vector<std::string> called;
  const auto note = [&called](const char* name) {
    return [&called, name] { called.push_back(name); };
  };
  model->onToggleMouthMask = note("mask");
  model->onToggleHD = note("hd");
  model->onToggleEnhance = note("enhance");
  model->onToggleFlip = note("flip");
  model->onCalibrate = note("lock");
  model->onClearLock = note("clear");
  model->onChooseFace = note("choose");
  for (const char* text :
       {"Mouth mask", "HD", "Enhance", "Flip camera", "Lock onto my face", "Clear lock"})
    shown->click(shown->control(text));
  shown->click(shown->item("AddFaceCard"));
  EXPECT_THAT(called, ElementsAre("mask", "hd", "enhance", "flip", "lock", "clear", "choose"));
  model->busyFace = true;
  shown->click(shown->control("Self-view"));
  settle();
  EXPECT_FALSE(model->showSelfView);
  EXPECT_FALSE(shown->shows("selfViewBox"));
  shown->click(shown->item("AddFaceCard"));
  EXPECT_EQ(called.size(), 7U) << "a busy tile cannot be pressed";
  EXPECT_TRUE(shown->shows("spinner"));
}

TEST_F(ViewsTest, everyControlIsReachedByKeyboardAndHasAName) {
  model->isLive = true;
  model->faces = {face("a", "Anna", Qt::red)};
  settle();
  std::set<std::string> reached;
  for (int i = 0; i < 30; ++i) {
    shown->key(Qt::Key_Tab);
    QQuickItem* focused = shown->quick.activeFocusItem();
    auto* accessible = QAccessible::queryAccessibleInterface(focused);
    if (accessible) reached.insert(accessible->text(QAccessible::Name).toStdString());
  }
  for (const char* name :
       {"Sign In", "Anna", "Add a face", "Pause", "Your camera; press to enlarge", "Mouth mask",
        "HD", "Enhance", "Flip camera", "Self-view", "Lock onto my face"})
    EXPECT_TRUE(reached.contains(name)) << name;
}

TEST_F(ViewsTest, moveTheBoxByDragsAndSwapThePicturesByATap) {
  QQuickItem* box = shown->item("selfViewBox");
  const QRectF start = shown->rect(box);
  shown->drag(box, {-6, 6});
  EXPECT_TRUE(model->showSelfBig) << "less than ten points is a tap";
  EXPECT_EQ(shown->rect(box), start);
  shown->drag(box, {-60, -30});
  shown->drag(box, {-40, -20});
  EXPECT_EQ(model->selfPipOffset.get(), (AppModel::Size{-100, -50}));
  EXPECT_EQ(shown->rect(box), start.translated(-100, -50));
  EXPECT_TRUE(model->showSelfBig);
}

TEST_F(ViewsTest, holdLongTextsOddNamesAndManyFaces) {
  std::string status;
  for (int i = 0; i < 40; ++i) status += "a long status ✓ — ";
  model->statusText = status;
  std::vector<SavedFace> faces;
  for (int i = 0; i < 200; ++i)
    faces.push_back(
        face("id " + std::to_string(i), "<b>näme</b> % \n &" + std::to_string(i), Qt::green));
  model->faces = faces;
  settle();
  EXPECT_LT(shown->rect("statusText").right(), shown->rect("accountButton").left());
  EXPECT_LT(shown->rect("connectingText").height(), 80);
  QQuickItem* grid = shown->item("facesGrid");
  EXPECT_EQ(grid->property("count"), 201);
  EXPECT_LT(shown->all("FaceCard").size(), 60U) << "only what is near the visible part is made";
  QMetaObject::invokeMethod(grid, "positionViewAtEnd");
  EXPECT_TRUE(comes([&] { return shown->shows("AddFaceCard"); }));
  std::string selected, removed;
  model->onSelectFace = [&](const std::string& id) { selected = id; };
  model->onDeleteFace = [&](const std::string& id) { removed = id; };
  QQuickItem* last = nullptr;
  for (QQuickItem* card : shown->all("FaceCard"))
    if (shown->rect("FacesRail").contains(shown->rect(card))) last = card;
  ASSERT_TRUE(last);
  ASSERT_TRUE(comes([&] { return shown->colourAt(shown->rect(last).center()).green() > 240; }));
  shown->click(last);
  EXPECT_EQ(selected, last->property("faceId").toString().toStdString());
  shown->click(last, Qt::RightButton);
  settle();
  shown->click(shown->control("Remove"));
  EXPECT_EQ(removed, selected);
}

TEST_F(ViewsTest, keepTheWindowBehindTheConsentUntilItIsGiven) {
  defaults.remove("rc.consent.v1");
  open();
  int chosen = 0;
  model->onChooseFace = [&] { ++chosen; };
  EXPECT_EQ(shown->rect("ConsentSheet"), QRectF(0, 0, 980, 620));
  EXPECT_EQ(shown->rect("card").width(), 420);
  shown->click(shown->item("AddFaceCard"));
  EXPECT_EQ(chosen, 0);
  shown->key(Qt::Key_Return);
  EXPECT_TRUE(comes([&] { return !shown->shows("ConsentSheet"); }));
  EXPECT_TRUE(defaults.boolean("rc.consent.v1"));
  shown->click(shown->item("AddFaceCard"));
  EXPECT_EQ(chosen, 1);
}

TEST_F(ViewsTest, comeBackWhereTheyWere) {
  shown->quick.setGeometry(40, 30, 1000, 700);
  ASSERT_TRUE(comes([&] { return defaults.string("window.QuorvexCameraMain").has_value(); }));
  open();
  EXPECT_EQ(shown->quick.geometry(), QRect(40, 30, 1000, 700));
  defaults.setString("window.QuorvexCameraMain", "90000 90000 900 600");
  open();
  EXPECT_EQ(shown->content()->size(), QSizeF(980, 620)) << "no screen is there";
  // Nothing else brings it back where there is no tray.
  shown->quick.close();
  EXPECT_TRUE(shown->quick.windowStates() & Qt::WindowMinimized);
}

}  // namespace
}  // namespace quorvex::test
