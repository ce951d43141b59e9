#include <gtest/gtest.h>

#include "fakes/Pictures.h"
#include "media/RemoteFrameRenderer.h"

namespace quorvex {
namespace {

class RemoteFrameRendererTest : public ::testing::Test {
 protected:
  const PixelBufferRef& render(const I420View& picture) {
    const RtcVideoFrame frame{.pixelBuffer = {}, .i420 = picture};
    out = PixelBufferRef();
    renderer.renderFrame(&frame);
    return out;
  }

  PixelBufferRef out;
  RemoteFrameRenderer renderer{[this](const PixelBufferRef& buffer) { out = buffer; }};
};

TEST_F(RemoteFrameRendererTest, interleavesEveryByteOfAnySize) {
  for (const auto& [width, height] : {std::pair{1280, 720}, {641, 481}, {1, 1}, {2, 3}}) {
    const PaddedPicture picture(width, height);
    const auto& buffer = render(picture.view);
    ASSERT_TRUE(buffer);
    ASSERT_EQ(buffer->width(), width);
    ASSERT_EQ(buffer->height(), height);
    int wrong = 0;
    for (int row = 0; row < height; ++row)
      for (int x = 0; x < width; ++x)
        wrong += buffer->baseAddressOfPlane(0)[row * buffer->bytesPerRowOfPlane(0) + x] !=
                 picture.y[row * picture.view.strideY + x];
    for (int row = 0; row < (height + 1) / 2; ++row) {
      const auto* pairs = buffer->baseAddressOfPlane(1) + row * buffer->bytesPerRowOfPlane(1);
      for (int x = 0; x < (width + 1) / 2; ++x)
        wrong += pairs[2 * x] != picture.u[row * picture.view.strideU + x] ||
                 pairs[2 * x + 1] != picture.v[row * picture.view.strideV + x];
    }
    EXPECT_EQ(wrong, 0) << width << "x" << height;
  }
}

TEST_F(RemoteFrameRendererTest, copiesNoFurtherThanANarrowStride) {
  PaddedPicture picture(64, 2, 0);
  picture.view.strideY = 32;
  const auto& buffer = render(picture.view);
  ASSERT_TRUE(buffer);
  const auto* second = buffer->baseAddressOfPlane(0) + buffer->bytesPerRowOfPlane(0);
  EXPECT_EQ(second[31], picture.y[63]);
  EXPECT_EQ(buffer->baseAddressOfPlane(1)[1], picture.v[0]);
}

TEST_F(RemoteFrameRendererTest, recyclesItsBuffersFollowsAChangeOfSizeAndDropsWhatItHasNoneFor) {
  const PaddedPicture large(64, 48), small(32, 24);
  const auto* first = &*render(large.view);
  EXPECT_EQ(&*render(large.view), first) << "the released buffer comes back";
  EXPECT_EQ(render(small.view)->width(), 32);
  EXPECT_EQ(render(large.view)->width(), 64);
  std::vector<PixelBufferRef> kept;
  while (render(small.view)) kept.push_back(out);
  EXPECT_EQ(kept.size(), static_cast<std::size_t>(kPixelBufferPoolLimit));
  kept.pop_back();
  EXPECT_TRUE(render(small.view)) << "and goes on when one is free again";
  renderer.renderFrame(nullptr);
  EXPECT_FALSE(render({.width = 0, .height = 720}));
  EXPECT_FALSE(render({.width = 20000, .height = 2}));
  const RtcVideoFrame native{.pixelBuffer = makeBuffer(8, 8), .i420 = {}};
  renderer.renderFrame(&native);
  EXPECT_EQ(out, native.pixelBuffer) << "the engine's own buffers pass through";
}

}  // namespace
}  // namespace quorvex
