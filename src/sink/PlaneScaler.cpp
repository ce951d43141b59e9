#include "sink/PlaneScaler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quorvex {
namespace {

constexpr int kWhole = 256;

int roundedUp(int value, int step) {
  return (value + step - 1) / step * step;
}

}  // namespace

void PlaneScaler::scale(const Geometry& wanted, const std::uint8_t* from, int fromStride,
                        std::uint8_t* to, int toStride) {
  if (geometry != wanted) {
    geometry = wanted;
    prepare();
  }
  const int sourceBytes = static_cast<int>(std::ceil(wanted.sourceWidth)) * wanted.bytesPerPixel;
  const int taps = rowTaps.perPixel;
  for (int row = 0; row < wanted.height; ++row) {
    for (int i = 0; i < taps; ++i)
      rows[i] = from + static_cast<std::ptrdiff_t>(rowTaps.index[row * taps + i]) * fromStride;
    kernels.blendRows(rows.data(), &rowTaps.weight[row * taps], taps / 2,
                      roundedUp(sourceBytes, ColumnMix::kBytes), line[0].data());
    scaleRow(to + static_cast<std::ptrdiff_t>(row) * toStride);
  }
}

void PlaneScaler::scaleRow(std::uint8_t* to) {
  int current = 0;
  for (std::size_t i = 0; i + 1 < stages.size(); ++i) {
    kernels.mixColumns(line[current].data(), stages[i].mixes, stages[i].pairs, 0,
                       reinterpret_cast<std::uint8_t*>(line[1 - current].data()));
    current = 1 - current;
  }
  const ColumnStage& last = stages.back();
  const std::span<const ColumnMix> mixes = last.mixes;
  const int bytes = geometry.width * geometry.bytesPerPixel;
  const int whole = bytes / ColumnMix::kBytes * last.pairs;
  kernels.mixColumns(line[current].data(), mixes.first(whole), last.pairs, 0x80, to);
  if (const int rest = bytes % ColumnMix::kBytes) {
    std::array<std::uint8_t, ColumnMix::kBytes> end;
    kernels.mixColumns(line[current].data(), mixes.subspan(whole), last.pairs, 0x80, end.data());
    std::memcpy(to + bytes - rest, end.data(), rest);
  }
}

void PlaneScaler::prepare() {
  const auto& [sourceWidth, sourceHeight, width, height, bytesPerPixel, mirrored] = geometry;
  const double down = sourceHeight / height;
  rowTaps = makeTaps(down, std::max(down, 1.0), height, static_cast<int>(std::ceil(sourceHeight)));
  rows.resize(rowTaps.perPixel);

  // Eight pixels fit their window of 16 samples as long as a row shrinks to no less than its half;
  // halve it until that holds.
  int samples = static_cast<int>(std::ceil(sourceWidth));
  // A window may begin at the last byte.
  for (auto& buffer : line)
    buffer.assign(roundedUp(samples * bytesPerPixel, ColumnMix::kBytes) + ColumnMix::kWindow, 0);
  double across = sourceWidth / width;
  stages.clear();
  for (; across > 2; across /= 2) {
    const int halved = (samples + 1) / 2;
    stages.push_back(makeStage(makeTaps(2, 1, halved, samples), bytesPerPixel, false));
    samples = halved;
  }
  stages.push_back(
      makeStage(makeTaps(across, std::max(across, 1.0), width, samples), bytesPerPixel, mirrored));
}

PlaneScaler::Taps PlaneScaler::makeTaps(double ratio, double reach, int count, int samples) {
  Taps taps;
  taps.perPixel = roundedUp(static_cast<int>(std::ceil(2 * reach)), 2);
  taps.index.resize(static_cast<std::size_t>(count) * taps.perPixel);
  taps.weight.resize(taps.index.size());
  for (int pixel = 0; pixel < count; ++pixel) {
    const double centre = (pixel + 0.5) * ratio - 0.5;
    const int first = static_cast<int>(std::floor(centre - reach)) + 1;
    for (int i = 0; i < taps.perPixel; ++i)
      taps.index[pixel * taps.perPixel + i] = std::clamp(first + i, 0, samples - 1);
    makeWeights(taps, pixel, centre, reach, first);
  }
  return taps;
}

// Rounds the running sum, not each weight: the sum comes out whole, what one weight loses its
// neighbour gains, and weights far below one (a wide triangle) are not all lost.
void PlaneScaler::makeWeights(Taps& taps, int pixel, double centre, double reach, int first) {
  const auto height = [&](int i) {
    return std::max(0.0, 1 - std::abs(first + i - centre) / reach);
  };
  double total = 0, sum = 0;
  for (int i = 0; i < taps.perPixel; ++i) total += height(i);
  int given = 0;
  for (int i = 0; i < taps.perPixel; ++i) {
    const std::size_t at = static_cast<std::size_t>(pixel) * taps.perPixel + i;
    sum += height(i);
    const int weight = static_cast<int>(std::lround(sum / total * kWhole)) - given;
    given += weight;
    if (weight < kWhole) {
      taps.weight[at] += static_cast<std::uint8_t>(weight);
      continue;
    }
    // A whole weight does not fit a byte: the sample is mixed with itself.
    taps.weight[at] = taps.weight[at ^ 1] = kWhole / 2;
    taps.index[at ^ 1] = taps.index[at];
  }
}

PlaneScaler::ColumnStage PlaneScaler::makeStage(const Taps& taps, int bytesPerPixel,
                                                bool mirrored) {
  ColumnStage stage;
  stage.pairs = taps.perPixel / 2;
  const int bytes = static_cast<int>(taps.index.size()) / taps.perPixel * bytesPerPixel;
  const int groups = roundedUp(bytes, ColumnMix::kBytes) / ColumnMix::kBytes;
  stage.mixes.resize(static_cast<std::size_t>(groups) * stage.pairs);
  for (int group = 0; group < groups; ++group)
    for (int pair = 0; pair < stage.pairs; ++pair)
      for (int block = 0; block < ColumnMix::kBlocks; ++block)
        fillBlock(stage.mixes[group * stage.pairs + pair], block, taps, pair,
                  group * ColumnMix::kBytes + ColumnMix::kBlockAt[block] * 8, bytesPerPixel,
                  mirrored);
  return stage;
}

void PlaneScaler::fillBlock(ColumnMix& mix, int block, const Taps& taps, int pair, int firstByte,
                            int bytesPerPixel, bool mirrored) {
  const int count = static_cast<int>(taps.index.size()) / taps.perPixel;
  std::array<int, ColumnMix::kWindow> source;
  for (int i = 0; i < ColumnMix::kWindow; ++i) {
    // Behind the end of the row the last pixel is repeated.
    const int byte = firstByte + i / 2;
    const int pixel = std::min(byte / bytesPerPixel, count - 1);
    const int tap = (mirrored ? count - 1 - pixel : pixel) * taps.perPixel + 2 * pair + i % 2;
    source[i] = taps.index[tap] * bytesPerPixel + byte % bytesPerPixel;
    mix.weight[block][i] = taps.weight[tap];
  }
  const int start = *std::min_element(source.begin(), source.end());
  mix.start[block] = start;
  for (int i = 0; i < ColumnMix::kWindow; ++i)
    mix.pick[block][i] = static_cast<std::uint8_t>(source[i] - start);
}

}  // namespace quorvex
