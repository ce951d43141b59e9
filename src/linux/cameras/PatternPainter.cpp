#include "linux/cameras/PatternPainter.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "linux/cameras/FrameStamp.h"

namespace quorvex {
namespace {

// BT.601, video range.
constexpr YuvColour kShirt{95, 150, 105};
constexpr YuvColour kHair{48, 118, 138};
constexpr YuvColour kSkin{176, 108, 152};
constexpr YuvColour kShade{158, 106, 156};
constexpr YuvColour kLips{96, 118, 172};
constexpr YuvColour kWhite{228, 128, 128};
constexpr YuvColour kIris{90, 148, 108};
constexpr YuvColour kBlack{24, 128, 128};
constexpr std::array<YuvColour, 7> kBars{{{180, 128, 128},
                                          {162, 44, 142},
                                          {131, 156, 44},
                                          {112, 72, 58},
                                          {84, 184, 198},
                                          {65, 100, 212},
                                          {35, 212, 114}}};

// In the order in which they cover one another, in a sprite 0.9 times as wide as high.
constexpr std::array<Ellipse, 7> kBust{{{0.45f, 1.10f, 0.42f, 0.34f, kShirt},
                                        {0.45f, 0.74f, 0.10f, 0.16f, kShade},
                                        {0.45f, 0.37f, 0.27f, 0.34f, kHair},
                                        {0.205f, 0.44f, 0.035f, 0.06f, kShade},
                                        {0.695f, 0.44f, 0.035f, 0.06f, kShade},
                                        {0.45f, 0.43f, 0.235f, 0.31f, kSkin},
                                        {0.45f, 0.49f, 0.032f, 0.07f, kShade}}};
constexpr std::array<Ellipse, 3> kMouth{{{0.45f, 0.615f, 0.085f, 0.045f, kLips},
                                         {0.45f, 0.602f, 0.075f, 0.020f, kWhite},
                                         {0.45f, 0.580f, 0.095f, 0.022f, kSkin}}};
constexpr std::array<Ellipse, 6> kOpenEyes{{{0.36f, 0.39f, 0.052f, 0.036f, kWhite},
                                            {0.54f, 0.39f, 0.052f, 0.036f, kWhite},
                                            {0.36f, 0.39f, 0.029f, 0.031f, kIris},
                                            {0.54f, 0.39f, 0.029f, 0.031f, kIris},
                                            {0.36f, 0.39f, 0.014f, 0.015f, kBlack},
                                            {0.54f, 0.39f, 0.014f, 0.015f, kBlack}}};
constexpr std::array<Ellipse, 4> kClosedEyes{{{0.36f, 0.395f, 0.052f, 0.030f, kShade},
                                              {0.54f, 0.395f, 0.052f, 0.030f, kShade},
                                              {0.36f, 0.415f, 0.050f, 0.006f, kHair},
                                              {0.54f, 0.415f, 0.050f, 0.006f, kHair}}};
constexpr std::array<Ellipse, 2> kBrows{
    {{0.36f, 0.325f, 0.060f, 0.012f, kHair}, {0.54f, 0.325f, 0.060f, 0.012f, kHair}}};
constexpr std::array<Ellipse, 2> kBall{
    {{0.5f, 0.5f, 0.48f, 0.48f, {140, 60, 190}}, {0.38f, 0.34f, 0.13f, 0.10f, kWhite}}};

int even(double value) {
  return static_cast<int>(value / 2) * 2;
}

Sprite headWith(std::span<const Ellipse> eyes, int pictureHeight) {
  std::vector<Ellipse> parts;
  for (std::span<const Ellipse> some : {std::span<const Ellipse>(kBust), {kMouth}, eyes, {kBrows}})
    parts.insert(parts.end(), some.begin(), some.end());
  const double height = 0.80 * pictureHeight;
  return {even(0.9 * height), even(height), parts};
}

void fill(I420Picture& picture, const PixelRect& area, const YuvColour& colour) {
  libyuv::I420Rect(picture.y(), picture.strideY(), picture.u(), picture.strideChroma(), picture.v(),
                   picture.strideChroma(), area.x, area.y, area.width, area.height,
                   static_cast<int>(colour.y), static_cast<int>(colour.u),
                   static_cast<int>(colour.v));
}

// Bars over three quarters, beneath them a staircase of greys.
void paintBackground(I420Picture& picture) {
  const int barsBottom = even(0.74 * picture.height);
  const int columns = static_cast<int>(kBars.size());
  for (int column = 0; column < columns; ++column) {
    const int left = even(static_cast<double>(picture.width) * column / columns);
    const int right = even(static_cast<double>(picture.width) * (column + 1) / columns);
    const auto grey = static_cast<float>(40 + 26 * column);
    fill(picture, {left, 0, right - left, barsBottom}, kBars[column]);
    fill(picture, {left, barsBottom, right - left, picture.height - barsBottom}, {grey, 128, 128});
  }
}

}  // namespace

PatternPainter::PatternPainter(int width, int height)
    : background(width, height),
      canvas(width, height),
      ball(even(0.14 * height), even(0.14 * height), kBall),
      head(headWith(kOpenEyes, height)),
      blinkingHead(headWith(kClosedEyes, height)) {
  paintBackground(background);
}

const I420Picture& PatternPainter::paint(std::uint32_t number, double seconds) {
  std::copy_n(background.y(), background.size(), canvas.y());
  paintBall(seconds);
  paintHead(seconds);
  paintFrameStamp(number, canvas);
  return canvas;
}

void PatternPainter::paintBall(double seconds) {
  const double way = std::fmod(seconds / 4, 2);  // there and back in eight seconds
  const double across = way < 1 ? way : 2 - way;
  const double bounce = std::abs(std::sin(seconds * std::numbers::pi / 1.2));
  const double ground = 0.88 * canvas.height - ball.height();
  ball.blendOnto(canvas, even(across * (canvas.width - ball.width())),
                 even(ground - 0.55 * canvas.height * bounce));
}

// The bust ends below the upper edge of the stamp, which covers its cut.
void PatternPainter::paintHead(double seconds) {
  const double sway = std::sin(seconds * 2 * std::numbers::pi / 7);
  const double nod = std::sin(seconds * 2 * std::numbers::pi / 3.1);
  const double x = (canvas.width - head.width()) / 2.0 + 0.12 * canvas.width * sway;
  const double y = (0.14 + 0.015 * nod) * canvas.height;
  const bool blinks = std::fmod(seconds, 3.7) > 3.55;
  (blinks ? blinkingHead : head).blendOnto(canvas, even(x), even(y));
}

}  // namespace quorvex
