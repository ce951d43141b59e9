#include <gtest/gtest.h>

#include "linux/cameras/I420Picture.h"
#include "service/SwapEffect.h"

namespace quorvex::service {
namespace {

/// A plain picture, swapped.
I420Picture swapped(int width, int height, SwapEffect& effect) {
  I420Picture picture(width, height);
  std::fill_n(picture.y(), picture.size(), 100);
  effect.apply({.width = width,
                .height = height,
                .y = picture.y(),
                .u = picture.u(),
                .v = picture.v(),
                .strideY = picture.strideY(),
                .strideU = picture.strideChroma(),
                .strideV = picture.strideChroma()});
  return picture;
}

TEST(SwapEffect, changesTheMiddleAndTheBorderAndNotTheLowestTenth) {
  SwapEffect effect;
  for (const auto& [width, height] :
       {std::pair(1280, 720), {641, 481}, {16, 16}, {4096, 16}, {17, 4095}, {640, 480}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const I420Picture picture = swapped(width, height, effect);
    const I420View view = picture.view();
    const auto luma = [&](int x, int y) { return view.dataY[y * view.strideY + x]; };
    const auto chroma = [&](int x, int y) {
      const int at = (y / 2) * view.strideU + x / 2;
      return std::pair(view.dataU[at], view.dataV[at]);
    };
    EXPECT_NE(chroma(width / 2, height * 45 / 100),
              std::pair(std::uint8_t{100}, std::uint8_t{100}));
    EXPECT_NE(luma(0, 0), 100);
    EXPECT_NE(luma(width - 1, height / 2), 100);
    for (int y = (height * 9 + 9) / 10; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        ASSERT_EQ(luma(x, y), 100) << x << "," << y;
        ASSERT_EQ(chroma(x, y), std::pair(std::uint8_t{100}, std::uint8_t{100})) << x << "," << y;
      }
    }
  }
}

TEST(SwapEffect, hasASoftEdge) {
  SwapEffect effect;
  const I420Picture picture = swapped(1280, 720, effect);
  const std::uint8_t* row = picture.view().dataU + 162 * picture.strideChroma();
  for (int x = 20; x < 620; ++x) ASSERT_LT(std::abs(row[x + 1] - row[x]), 16) << x;
}

}  // namespace
}  // namespace quorvex::service
