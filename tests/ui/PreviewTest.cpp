#include <gtest/gtest.h>

#include <QColor>

#include "fakes/FakeEngine.h"
#include "fakes/FakeService.h"
#include "ui/PreviewRenderer.h"
#include "ui/QtWindows.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

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
  EXPECT_EQ(picture.pixelColor(98, 50).alpha(), 255);
}

TEST(VideoPreviewView, isAttachedToTheTracksTheModelShowsAndToNoOther) {
  FakeDefaults defaults;
  defaults.setBoolean("rc.consent.v1", true);
  AppModel model(defaults);
  QtWindows windows(defaults, [] {});
  windows.setMainMenu({}, {});
  auto window = windows.makeMainWindow(model);
  window->makeKeyAndOrderFront();
  const ShownWindow shown(*window);
  const auto remote = std::make_shared<FakeTrack>("remote");
  auto local = std::make_shared<FakeTrack>("local");
  model.remoteTrack = remote;
  model.localTrack = local;
  shown.settle();
  ASSERT_EQ(remote->renderers.size(), 1U);
  ASSERT_EQ(local->renderers.size(), 1U);
  const auto main = remote->renderers.front();
  const Halves frame(640, 360);
  const auto middle = [&] { return shown.rect("panel").center() + QPointF(100, -100); };
  ASSERT_TRUE(eventually([&] {
    main->renderFrame(&frame.frame);
    QCoreApplication::processEvents();
    return isLight(shown.colourAt(middle()));
  }));
  auto& converter = dynamic_cast<PreviewRenderer&>(*main);
  window->close();
  shown.settle();
  (void)converter.take();
  main->renderFrame(&frame.frame);
  EXPECT_TRUE(converter.take().isNull()) << "nothing is converted for a hidden window";
  window->makeKeyAndOrderFront();
  model.showSelfBig = true;
  shown.settle();
  EXPECT_EQ(local->renderers.size(), 1U);
  EXPECT_EQ(local->renderers.front(), main) << "the pictures change places";
  EXPECT_EQ(remote->renderers.size(), 1U);
  model.localTrack = nullptr;
  local.reset();
  shown.settle();
  EXPECT_FALSE(isLight(shown.colourAt(middle()))) << "a track that is gone shows nothing";
  window.reset();
  EXPECT_TRUE(remote->renderers.empty());
}

}  // namespace
}  // namespace quorvex::test
