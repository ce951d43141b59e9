#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>

#include "fakes/Pictures.h"
#include "sink/FrameFitter.h"
#include "sink/PlaneScaler.h"

namespace quorvex {
namespace {

/// Hard on a scaler: no byte follows from its neighbours.
void paintNoise(PixelBuffer& buffer) {
  std::minstd_rand random(7);
  for (int plane = 0; plane < 2; ++plane) {
    const int rows = plane == 0 ? buffer.height() : (buffer.height() + 1) / 2;
    for (int i = 0; i < rows * buffer.bytesPerRowOfPlane(plane); ++i)
      buffer.baseAddressOfPlane(plane)[i] = static_cast<std::uint8_t>(random() >> 8);
  }
}

/// The samples that pixel `at` of `count` lies on, of those of a side `length` long, and its share
/// of each. A pixel smaller than a sample counts as large as one.
std::vector<std::pair<int, double>> covered(int at, int count, double length) {
  const double ratio = length / count, size = std::max(ratio, 1.0);
  const double begin = (at + 0.5) * ratio - size / 2, end = begin + size;
  std::vector<std::pair<int, double>> shares;
  for (int i = static_cast<int>(std::floor(begin)); i < end; ++i)
    shares.emplace_back(std::clamp(i, 0, static_cast<int>(std::ceil(length)) - 1),
                        (std::min(end, i + 1.0) - std::max(begin, 1.0 * i)) / size);
  return shares;
}

double expected(const PixelBuffer& in, int plane, PixelRect rect, int x, int row, bool flipped) {
  const int shrink = plane + 1, width = rect.width / shrink, column = x / shrink;
  const auto columns =
      covered(flipped ? width - 1 - column : column, width, 1.0 * in.width() / shrink);
  double sum = 0;
  for (const auto& [y, share] : covered(row, rect.height / shrink, 1.0 * in.height() / shrink)) {
    const auto* line = in.baseAddressOfPlane(plane) + y * in.bytesPerRowOfPlane(plane);
    for (const auto& [i, part] : columns) sum += share * part * line[i * shrink + x % shrink];
  }
  return sum;
}

double worstError(const PixelBuffer& in, const PixelBuffer& out, PixelRect rect, bool flipped) {
  double worst = 0;
  for (int plane = 0; plane < 2; ++plane) {
    const int stride = out.bytesPerRowOfPlane(plane);
    const auto* bytes = out.baseAddressOfPlane(plane) + rect.y / (plane + 1) * stride + rect.x;
    for (int row = 0; row < rect.height / (plane + 1); row += row % 9 + 1)
      for (int x = 0; x < rect.width; x += x < rect.width - 40 ? 7 : 1)
        worst = std::max(
            worst, std::abs(bytes[row * stride + x] - expected(in, plane, rect, x, row, flipped)));
  }
  return worst;
}

/// The samples of Y, Cb and Cr there.
std::array<int, 3> at(const PixelBuffer& buffer, int x, int row) {
  const auto* pair =
      buffer.baseAddressOfPlane(1) + row / 2 * buffer.bytesPerRowOfPlane(1) + x / 2 * 2;
  return {buffer.baseAddressOfPlane(0)[row * buffer.bytesPerRowOfPlane(0) + x], pair[0], pair[1]};
}

constexpr std::array kBlack{16, 128, 128};

TEST(AspectFit, centresTheWholeFrame) {
  const auto fit = [](int w, int h) { return aspectFit(w, h, 1280, 720); };
  EXPECT_EQ(fit(640, 480), (PixelRect{160, 0, 960, 720}));
  EXPECT_EQ(fit(641, 481), (PixelRect{160, 0, 960, 720}));
  EXPECT_EQ(fit(1280, 1024), (PixelRect{190, 0, 900, 720}));
  EXPECT_EQ(fit(1920, 1080), (PixelRect{0, 0, 1280, 720}));
  EXPECT_EQ(fit(1280, 700), (PixelRect{0, 10, 1280, 700}));
  EXPECT_EQ(fit(16384, 1).height, 2);
}

TEST(FrameFitter, givesEachPixelTheMeanOfWhatItCovers) {
  FrameFitter fitter;
  constexpr std::pair<int, int> kSizes[] = {{640, 480},   {641, 481},   {1280, 700},  {1280, 1024},
                                            {1920, 1080}, {3840, 2160}, {1600, 1200}, {320, 900},
                                            {1, 1},       {2, 2},       {3, 2},       {1, 9},
                                            {9, 1},       {5000, 10},   {1, 16384},   {16384, 1}};
  for (const auto& [width, height] : kSizes) {
    for (const bool flipped : {false, true}) {
      SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) +
                   (flipped ? " flipped" : ""));
      const auto in = makeBuffer(width, height), out = makeBuffer(1280, 720);
      paintNoise(*in);
      fitter.fit(*in, flipped, *out);
      const PixelRect rect = aspectFit(width, height, 1280, 720);
      // The more samples a pixel covers, the more roundings of their shares add up.
      const double limit = rect.height == height ? 0 : height < 10 * rect.height ? 1.5 : 2.5;
      EXPECT_LE(worstError(*in, *out, rect, flipped), limit);
      if (rect.x > 0) {
        EXPECT_EQ(at(*out, rect.x - 1, 300), kBlack);
        EXPECT_EQ(at(*out, rect.x + rect.width, 719), kBlack);
      }
    }
  }
}

TEST(FrameFitter, repaintsTheBarsWhenTheShapeChangesAndOnlyThen) {
  FrameFitter fitter;
  const auto wide = makeBuffer(1920, 1080), narrow = makeBuffer(640, 480);
  const auto out = makeBuffer(1280, 720);
  paintNoise(*wide);
  paintNoise(*narrow);
  fitter.fit(*wide, false, *out);
  fitter.fit(*narrow, false, *out);
  EXPECT_EQ(at(*out, 10, 300), kBlack) << "what the wide frame left there is gone";
  out->baseAddressOfPlane(0)[10] = 99;
  fitter.fit(*narrow, false, *out);
  EXPECT_EQ(at(*out, 10, 0)[0], 99) << "bars are not painted for every frame";
}

TEST(PlaneScaler, writesTheSameBytesWithEveryInstructionSetAndNothingBeside) {
  const auto in = makeBuffer(701, 90);
  paintNoise(*in);
  constexpr int kStride = 1100;
  const PlaneScaler::Geometry geometries[] = {
      {701, 90, 1040, 130, 1, false},  {701, 90, 479, 40, 1, true},
      {701, 90, 3, 1, 1, true},        {701, 90, 120, 30, 1, false},
      {350.5, 45.5, 480, 47, 2, true}, {350.5, 45.5, 201, 7, 2, false},
      {33, 2, 16, 5, 2, true}};
  for (const PlaneScaler::Geometry& geometry : geometries) {
    std::vector<std::uint8_t> first;
    for (const ScaleKernels& kernels : scaleKernels()) {
      std::vector<std::uint8_t> bytes(kStride * geometry.height, 99);
      PlaneScaler(kernels).scale(geometry, in->baseAddressOfPlane(0), in->bytesPerRowOfPlane(0),
                                 &bytes[10], kStride);
      if (first.empty()) first = bytes;
      EXPECT_EQ(bytes, first) << kernels.name << " " << geometry.width;
    }
    const int end = 10 + geometry.width * geometry.bytesPerPixel;
    for (auto row = first.begin(); row != first.end(); row += kStride)
      ASSERT_EQ(std::count(row, row + 10, 99) + std::count(row + end, row + kStride, 99),
                10 + kStride - end);
  }
}

}  // namespace
}  // namespace quorvex
