// The views over a model, measured and pressed in the running window.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>

#include "fakes/FakeEngine.h"
#include "fakes/FakeService.h"
#include "ui/PreviewRenderer.h"
#include "ui/QtWindows.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

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
    EXPECT_TRUE(shown->comes([&] { return shown->quick.isExposed(); }));
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

/// A frame whose left half is dark and whose right half is light.
struct Halves {
  explicit Halves(int width, int height)
      : luma(std::size_t(width) * height), chroma(luma.size() / 2, 128) {
    for (int i = 0; i < width * height; ++i)
      luma[static_cast<std::size_t>(i)] = i % width < width / 2 ? 16 : 235;
    frame.i420 = {width,         height, luma.data(), chroma.data(),
                  chroma.data(), width,  width / 2,   width / 2};
  }
  std::vector<std::uint8_t> luma, chroma;
  RtcVideoFrame frame;
};

bool isLight(const QColor& colour) {
  return colour.lightness() > 245;
}

TEST(PreviewRenderer, showsTheNewestFrameAsItIsAskedTo) {
  int ready = 0;
  PreviewRenderer renderer([&ready] { ++ready; });
  const Halves wide(640, 360);
  renderer.renderFrame(&wide.frame);
  EXPECT_TRUE(renderer.take().isNull()) << "nothing is shown, nothing is converted";
  renderer.setTarget({.size = {400, 400}});
  for (int i = 0; i < 5; ++i) renderer.renderFrame(&wide.frame);
  EXPECT_EQ(ready, 1);
  QImage picture = renderer.take();
  EXPECT_EQ(picture.size(), QSize(400, 225));
  EXPECT_EQ(picture.pixelColor(40, 100), QColor(Qt::black));
  EXPECT_TRUE(isLight(picture.pixelColor(360, 100)));
  EXPECT_TRUE(renderer.take().isNull()) << "each is shown once";
  renderer.setTarget({.size = {100, 100}, .mirrored = true, .fills = true, .cornerRadius = 20});
  renderer.renderFrame(&wide.frame);
  picture = renderer.take();
  EXPECT_EQ(picture.size(), QSize(100, 100));
  EXPECT_TRUE(isLight(picture.pixelColor(20, 50)));
  EXPECT_EQ(picture.pixelColor(80, 50), QColor(Qt::black));
  EXPECT_EQ(picture.pixelColor(1, 1).alpha(), 0);
}

TEST_F(ViewsTest, showTheTracksOfTheModelAndNoOther) {
  const auto remote = std::make_shared<FakeTrack>("remote");
  auto local = std::make_shared<FakeTrack>("local");
  model->remoteTrack = remote;
  model->localTrack = local;
  settle();
  ASSERT_EQ(remote->renderers.size(), 1U);
  ASSERT_EQ(local->renderers.size(), 1U);
  const auto main = remote->renderers.front();
  const Halves frame(640, 360);
  const auto isLit = [&] {
    return isLight(shown->colourAt(shown->rect("panel").center() + QPointF(100, -100)));
  };
  ASSERT_TRUE(shown->comes([&] { return main->renderFrame(&frame.frame), isLit(); }));
  auto& converter = dynamic_cast<PreviewRenderer&>(*main);
  window->close();
  settle();
  (void)converter.take();
  main->renderFrame(&frame.frame);
  EXPECT_TRUE(converter.take().isNull()) << "nothing is converted for a hidden window";
  window->makeKeyAndOrderFront();
  model->showSelfBig = true;
  settle();
  EXPECT_EQ(local->renderers.at(0), main) << "the pictures change places";
  model->localTrack = nullptr;
  local.reset();
  settle();
  EXPECT_FALSE(isLit()) << "a track that is gone shows nothing";
  shown.reset();
  window.reset();
  EXPECT_TRUE(remote->renderers.empty());
}

TEST_F(ViewsTest, lieWhereTheyBelongAtEverySize) {
  model->faces = {face("a", "Anna", Qt::red), face("b", "Bob", Qt::blue), face("c", "C", Qt::gray)};
  EXPECT_EQ(shown->content()->size(), QSizeF(980, 620));
  const int menu = shown->quick.height() - 620;
  EXPECT_EQ(shown->quick.minimumHeight(), 560 + menu);
  for (const QSize size : {QSize(880, 560), QSize(1700, 1000)}) {
    shown->quick.resize(size + QSize(0, menu));
    ASSERT_TRUE(shown->comes([&] { return shown->content()->size() == QSizeF(size); }));
    settle();
    const qreal w = size.width(), top = shown->rect("StatusBar").height() + 1;
    const qreal height = size.height() - top - shown->rect("FooterHint").height() - 1;
    const QRectF stage = shown->rect("PreviewStage");
    EXPECT_EQ(stage, QRectF(141, top, w - 140 - 176 - 2, height));
    const QSizeF box(std::max(0.22 * stage.width(), 120.0),
                     std::max(0.22 * 9 / 16 * stage.width(), 80.0));
    EXPECT_EQ(shown->rect("selfViewBox"),
              QRectF(stage.bottomRight() - QPointF(24 + box.width(), 24 + box.height()), box));
    EXPECT_EQ(shown->rect("AddFaceCard"), shown->rect("FaceCard").translated(62, 62));
  }
}

TEST_F(ViewsTest, sayOneThingAtATimeOnTheStage) {
  const auto track = std::make_shared<FakeTrack>("swapped");
  struct State {
    bool live, paused, queued, track;
    const char *overlay, *chip, *button;
  };
  for (const State& state : {State{false, false, false, false, "connectingOverlay", "", ""},
                             {true, false, false, true, "", "LIVE", "Pause"},
                             {true, true, false, true, "pauseBanner", "PAUSED", "Resume"},
                             {false, true, true, false, "queueOverlay", "", ""},
                             {true, false, true, true, "queueOverlay", "LIVE", ""}}) {
    model->isLive = state.live;
    model->paused = state.paused;
    model->isQueued = state.queued;
    model->remoteTrack = state.track ? track : nullptr;
    settle();
    for (const char* overlay : {"connectingOverlay", "pauseBanner", "queueOverlay"})
      EXPECT_EQ(shown->shows(overlay), std::string(overlay) == state.overlay) << overlay;
    const auto text = [this](const char* name) {
      return shown->shows(name) ? shown->item(name)->property("text") : "";
    };
    EXPECT_EQ(text("chip"), state.chip);
    EXPECT_EQ(text("pauseButton"), state.button);
  }
}

TEST_F(ViewsTest, everyControlIsReachedByKeyboardAndHasAName) {
  model->isLive = true;
  model->faces = {face("a", "Anna", Qt::red)};
  settle();
  std::set<std::string> reached;
  for (int i = 0; i < 30; ++i) {
    shown->key(Qt::Key_Tab);
    auto* focused = QAccessible::queryAccessibleInterface(shown->quick.activeFocusItem());
    if (focused) reached.insert(focused->text(QAccessible::Name).toStdString());
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
  for (int i = 0; i < 40; ++i) model->statusText = model->statusText.get() + "a long status ✓ — ";
  std::vector<SavedFace> faces{{"broken", "no picture", "AAAA"}};
  for (int i = 0; i < 200; ++i)
    faces.push_back(face("id " + std::to_string(i), "<b>näme</b> % \n &", Qt::green));
  model->faces = faces;
  settle();
  EXPECT_LT(shown->rect("statusText").right(), shown->rect("accountButton").left());
  EXPECT_LT(shown->rect("connectingText").height(), 80);
  EXPECT_LT(shown->all("FaceCard").size(), 60U) << "only what is near the visible part is made";
  QMetaObject::invokeMethod(shown->item("facesGrid"), "positionViewAtEnd");
  EXPECT_TRUE(shown->comes([&] { return shown->shows("AddFaceCard"); }));
  std::string selected, removed;
  model->onSelectFace = [&](const std::string& id) { selected = id; };
  model->onDeleteFace = [&](const std::string& id) { removed = id; };
  QQuickItem* last = nullptr;
  for (QQuickItem* card : shown->all("FaceCard"))
    if (shown->rect("FacesRail").contains(shown->rect(card))) last = card;
  ASSERT_TRUE(last);
  EXPECT_TRUE(
      shown->comes([&] { return shown->colourAt(shown->rect(last).center()).green() > 240; }));
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
  shown->click(shown->item("AddFaceCard"));
  EXPECT_EQ(chosen, 0);
  shown->key(Qt::Key_Return);
  EXPECT_TRUE(shown->comes([&] { return !shown->shows("ConsentSheet"); }));
  shown->click(shown->item("AddFaceCard"));
  EXPECT_EQ(chosen, 1);
}

TEST_F(ViewsTest, comeBackWhereTheyWere) {
  shown->quick.setGeometry(40, 30, 1000, 700);
  ASSERT_TRUE(
      shown->comes([&] { return defaults.string("window.QuorvexCameraMain").has_value(); }));
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
