#include <gtest/gtest.h>

#include "linux/cameras/I420Picture.h"
#include "service/SwapEffect.h"

namespace quorvex::service {
namespace {

TEST(SwapEffect, changesTheMiddleAndTheBorderAndNotTheLowestTenth) {
  SwapEffect effect;
  for (const auto& [width, height] :
       {std::pair(1280, 720), {641, 481}, {16, 16}, {4096, 16}, {17, 4095}, {640, 480}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    I420Picture picture(width, height);
    std::fill_n(picture.y(), picture.size(), 100);
    const int stride = picture.strideY(), half = picture.strideChroma();
    effect.apply({width, height, picture.y(), picture.u(), picture.v(), stride, half, half});

    const int lowest = (height * 9 + 9) / 10;
    const auto plain = [](std::uint8_t sample) { return sample == 100; };
    EXPECT_TRUE(std::all_of(picture.y() + lowest * stride, picture.u(), plain));
    EXPECT_TRUE(std::all_of(picture.u() + (lowest + 1) / 2 * half, picture.v(), plain));
    EXPECT_FALSE(plain(picture.u()[height * 45 / 200 * half + width / 4]));
    EXPECT_TRUE(std::min(width, height) < 100 ||
                plain(picture.u()[height * 45 / 200 * half + width / 10]));
    EXPECT_FALSE(plain(picture.y()[0]));
    EXPECT_FALSE(plain(picture.y()[height / 2 * stride + width - 1]));
  }
}

}  // namespace
}  // namespace quorvex::service
