#include <gtest/gtest.h>

#include <cmath>

#include "fakes/Pictures.h"
#include "sink/FrameFitter.h"

namespace quorvex {
namespace {

/// A smooth picture, so that any good scaler comes near the same values.
void paintGradient(PixelBuffer& buffer) {
  for (int row = 0; row < buffer.height(); ++row)
    for (int x = 0; x < buffer.width(); ++x)
      buffer.baseAddressOfPlane(0)[row * buffer.bytesPerRowOfPlane(0) + x] =
          static_cast<std::uint8_t>(20 + 180.0 * x / buffer.width() + 30.0 * row / buffer.height());
  for (int row = 0; row < (buffer.height() + 1) / 2; ++row) {
    auto* pairs = buffer.baseAddressOfPlane(1) + row * buffer.bytesPerRowOfPlane(1);
    for (int x = 0; x < (buffer.width() + 1) / 2; ++x) {
      pairs[2 * x] = static_cast<std::uint8_t>(40 + 160.0 * 2 * x / buffer.width());
      pairs[2 * x + 1] = static_cast<std::uint8_t>(40 + 160.0 * 2 * row / buffer.height());
    }
  }
}

struct Pixel {
  int y, u, v;
};
Pixel at(const PixelBuffer& buffer, int x, int row) {
  const auto* pair =
      buffer.baseAddressOfPlane(1) + row / 2 * buffer.bytesPerRowOfPlane(1) + x / 2 * 2;
  return {buffer.baseAddressOfPlane(0)[row * buffer.bytesPerRowOfPlane(0) + x], pair[0], pair[1]};
}

TEST(AspectFit, centresTheWholeFrame) {
  const auto fit = [](int w, int h) { return aspectFit(w, h, 1280, 720); };
  EXPECT_EQ(fit(640, 480), (PixelRect{160, 0, 960, 720}));
  EXPECT_EQ(fit(641, 481), (PixelRect{160, 0, 960, 720}));
  EXPECT_EQ(fit(1280, 1024), (PixelRect{190, 0, 900, 720}));
  EXPECT_EQ(fit(1920, 1080), (PixelRect{0, 0, 1280, 720}));
  EXPECT_EQ(fit(1280, 700), (PixelRect{0, 10, 1280, 700}));
  EXPECT_EQ(fit(16384, 1).height, 2);
}

TEST(FrameFitter, scalesMirrorsAndBarsFaithfully) {
  FrameFitter fitter;
  for (const auto& [width, height] :
       {std::pair{640, 480}, {641, 481}, {1280, 1024}, {1920, 1080}, {320, 900}, {3, 2}}) {
    for (const bool flipped : {false, true}) {
      const auto in = makeBuffer(width, height);
      const auto out = makeBuffer(1280, 720);
      paintGradient(*in);
      fitter.fit(*in, flipped, *out);
      const PixelRect rect = aspectFit(width, height, 1280, 720);
      int worst = 0;
      for (int row = rect.y; row < rect.y + rect.height; row += 7) {
        for (int x = rect.x; x < rect.x + rect.width; x += 7) {
          const double across = (x + 0.5 - rect.x) / rect.width;
          const int sourceX = static_cast<int>((flipped ? 1 - across : across) * width);
          const int sourceRow = static_cast<int>((row + 0.5 - rect.y) / rect.height * height);
          const Pixel got = at(*out, x, row), expected = at(*in, sourceX, sourceRow);
          worst = std::max({worst, std::abs(got.y - expected.y), std::abs(got.u - expected.u),
                            std::abs(got.v - expected.v)});
        }
      }
      // A picture three pixels wide has steps of 60 between neighbours.
      EXPECT_LE(worst, width < 16 ? 80 : 4) << width << "x" << height << " flipped=" << flipped;
      if (rect.x > 0) {
        const Pixel left = at(*out, rect.x - 1, 300), right = at(*out, rect.x + rect.width, 719);
        EXPECT_EQ(left.y + left.u + left.v, 16 + 128 + 128);
        EXPECT_EQ(right.y + right.u + right.v, 16 + 128 + 128);
      }
    }
  }
}

TEST(FrameFitter, repaintsTheBarsWhenTheShapeChangesAndOnlyThen) {
  FrameFitter fitter;
  const auto wide = makeBuffer(1920, 1080), narrow = makeBuffer(640, 480);
  const auto out = makeBuffer(1280, 720);
  paintGradient(*wide);
  paintGradient(*narrow);
  fitter.fit(*wide, false, *out);
  fitter.fit(*narrow, false, *out);
  EXPECT_EQ(at(*out, 10, 300).y, 16) << "what the wide frame left there is gone";
  out->baseAddressOfPlane(0)[10] = 99;
  fitter.fit(*narrow, false, *out);
  EXPECT_EQ(at(*out, 10, 0).y, 99) << "bars are not painted for every frame";
}

}  // namespace
}  // namespace quorvex
