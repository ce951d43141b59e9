#include <gtest/gtest.h>
#include <libyuv.h>

#include <algorithm>
#include <random>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/PatternPainter.h"

namespace quorvex {
namespace {

std::optional<std::uint32_t> read(const I420Picture& picture) {
  return readFrameStamp(picture.view().dataY, picture.strideY(),
                        {0, 0, picture.width, picture.height});
}

I420Picture stamped(std::uint32_t number) {
  static PatternPainter painter(1280, 720);
  return painter.paint(number, 0.5);
}

TEST(FrameStamp, isReadAtEveryScaleAndMirrored) {
  for (const std::uint32_t number : {0u, 0xdeadbeefu}) {
    const I420Picture original = stamped(number);
    for (const auto& [width, height] : {std::pair{320, 180}, {641, 481}, {1920, 1080}}) {
      I420Picture scaled(width, height), mirrored(width, height);
      libyuv::ScalePlane(original.view().dataY, 1280, 1280, 720, scaled.y(), width, width, height,
                         libyuv::kFilterBox);
      EXPECT_EQ(read(scaled), number) << width << "x" << height;
      libyuv::MirrorPlane(scaled.view().dataY, width, mirrored.y(), width, width, height);
      EXPECT_EQ(read(mirrored), number) << width << "x" << height;
    }
  }
}

TEST(FrameStamp, isRefusedWhenOneOfItsCellsIsWrongAndNotFoundWhereThereIsNone) {
  for (int cell = 1; cell < 25; ++cell) {  // the others are marks and carry no number
    I420Picture damaged = stamped(0x12345678);
    for (int y = 648; y < 684; ++y)
      for (int x = 1280 * cell / 26, end = x + 49; x < end; ++x) damaged.y()[y * 1280 + x] ^= 0xff;
    EXPECT_EQ(read(damaged), std::nullopt) << cell;
  }
  EXPECT_EQ(read(I420Picture(1280, 720)), std::nullopt);
  I420Picture noise(1280, 720);
  std::generate_n(noise.y(), 1280 * 720, std::mt19937(7));
  for (const PixelRect& content : {PixelRect{0, 0, 1280, 720}, {0, 0, 319, 720}, {0, 0, 1280, 20}})
    EXPECT_EQ(readFrameStamp(noise.y(), 1280, content), std::nullopt);
}

}  // namespace
}  // namespace quorvex
