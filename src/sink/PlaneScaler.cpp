#include "sink/PlaneScaler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

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
  const int taps = rowTaps.perPixel;
  const int lineBytes = static_cast<int>(line.size()) - ColumnMix::kWindow;
  const int bytes = geometry.width * geometry.bytesPerPixel;
  const int rest = bytes % ColumnMix::kBytes;
  const int wholeMixes = bytes / ColumnMix::kBytes * passes;
  const std::span<const ColumnMix> mixes = columns;
  for (int row = 0; row < geometry.height; ++row, to += toStride) {
    for (int i = 0; i < taps; ++i)
      rows[i] = from + static_cast<std::ptrdiff_t>(rowTaps.index[row * taps + i]) * fromStride;
    kernels.blendRows(rows.data(), &rowTaps.weight[row * taps], taps / 2, lineBytes, line.data());
    kernels.mixColumns(line.data(), mixes.first(wholeMixes), passes, to);
    if (rest == 0) continue;
    std::array<std::uint8_t, ColumnMix::kBytes> end;
    kernels.mixColumns(line.data(), mixes.subspan(wholeMixes), passes, end.data());
    std::memcpy(to + bytes - rest, end.data(), rest);
  }
}

void PlaneScaler::prepare() {
  const int sourceRows = static_cast<int>(std::ceil(geometry.sourceHeight));
  rowTaps = makeTaps(geometry.sourceHeight / geometry.height, geometry.height, sourceRows);
  rows.resize(rowTaps.perPixel);
  const int samples = static_cast<int>(std::ceil(geometry.sourceWidth));
  // The last window may begin at the last byte.
  const int lineBytes = roundedUp(samples * geometry.bytesPerPixel, ColumnMix::kBytes);
  line.assign(lineBytes + ColumnMix::kWindow, 0);
  makeColumns(makeTaps(geometry.sourceWidth / geometry.width, geometry.width, samples));
}

PlaneScaler::Taps PlaneScaler::makeTaps(double ratio, int count, int samples) {
  const double size = std::max(ratio, 1.0);
  const auto start = [&](int pixel) { return (pixel + 0.5) * ratio - size / 2; };
  // A sample that is only touched is left out; without the margin, rounding would let some in.
  const auto first = [&](int pixel) { return static_cast<int>(std::floor(start(pixel) + 1e-6)); };
  Taps taps;
  for (int pixel = 0; pixel < count; ++pixel) {
    const int behind = static_cast<int>(std::ceil(start(pixel) + size - 1e-6));
    taps.perPixel = std::max(taps.perPixel, roundedUp(behind - first(pixel), 2));
  }
  taps.index.resize(static_cast<std::size_t>(count) * taps.perPixel);
  taps.weight.resize(taps.index.size());
  for (int pixel = 0; pixel < count; ++pixel) {
    for (int i = 0; i < taps.perPixel; ++i)
      taps.index[pixel * taps.perPixel + i] = std::clamp(first(pixel) + i, 0, samples - 1);
    makeWeights(taps, pixel, (first(pixel) - start(pixel)) / size, 1 / size);
  }
  return taps;
}

// Rounds the running sum, not each weight: the sum comes out whole, what one weight loses its
// neighbour gains, and weights far below one (a very large pixel) are not all lost.
void PlaneScaler::makeWeights(Taps& taps, int pixel, double covered, double perSample) {
  int given = 0;
  for (int i = pixel * taps.perPixel; i < (pixel + 1) * taps.perPixel; ++i) {
    covered += perSample;
    const int weight = static_cast<int>(std::lround(std::min(covered, 1.0) * kWhole)) - given;
    given += weight;
    if (weight < kWhole) {
      taps.weight[i] += static_cast<std::uint8_t>(weight);
      continue;
    }
    // A whole weight does not fit a byte: the sample is mixed with itself.
    taps.weight[i] = taps.weight[i ^ 1] = kWhole / 2;
    taps.index[i ^ 1] = taps.index[i];
  }
}

/// Goes through the source bytes of one byte of the result, leaving out those that weigh nothing.
class PlaneScaler::TapCursor {
 public:
  TapCursor() = default;
  TapCursor(const Taps& from, int pixel, int bytesPerPixel, int channel)
      : taps(&from),
        step(bytesPerPixel),
        offset(channel),
        at(pixel * from.perPixel),
        end(at + from.perPixel) {
    skip();
  }
  bool done() const { return at == end; }
  int source() const { return taps->index[at] * step + offset; }
  std::uint8_t take() {
    const std::uint8_t weight = taps->weight[at++];
    skip();
    return weight;
  }

 private:
  void skip() {
    while (at != end && taps->weight[at] == 0) ++at;
  }
  const Taps* taps = nullptr;
  int step = 0, offset = 0, at = 0, end = 0;
};

// A pass gives each byte of a block the next two of its sources that lie in one window. Down to
// half the size all lie in the first one, so that one or two passes do.
std::vector<PlaneScaler::BlockPass> PlaneScaler::blockPasses(const Taps& taps,
                                                             int firstByte) const {
  std::array<TapCursor, ColumnMix::kWindow / 2> cursors;
  for (int i = 0; i < static_cast<int>(cursors.size()); ++i) {
    const int pixel = (firstByte + i) / geometry.bytesPerPixel;
    if (pixel >= geometry.width) break;
    cursors[i] = TapCursor(taps, geometry.mirrored ? geometry.width - 1 - pixel : pixel,
                           geometry.bytesPerPixel, (firstByte + i) % geometry.bytesPerPixel);
  }
  std::vector<BlockPass> result;
  while (true) {
    int start = std::numeric_limits<int>::max();
    for (const TapCursor& cursor : cursors)
      if (!cursor.done()) start = std::min(start, cursor.source());
    if (start == std::numeric_limits<int>::max()) return result;
    BlockPass pass{.start = static_cast<std::uint32_t>(start)};
    for (int i = 0; i < ColumnMix::kWindow; ++i) {
      TapCursor& cursor = cursors[i / 2];
      if (cursor.done() || cursor.source() >= start + ColumnMix::kWindow) continue;
      pass.pick[i] = static_cast<std::uint8_t>(cursor.source() - start);
      pass.weight[i] = cursor.take();
    }
    result.push_back(pass);
  }
}

void PlaneScaler::makeColumns(const Taps& taps) {
  std::vector<std::vector<BlockPass>> blocks;
  passes = 0;
  for (int byte = 0; byte < geometry.width * geometry.bytesPerPixel || blocks.size() % 4 != 0;
       byte += ColumnMix::kWindow / 2) {
    blocks.push_back(blockPasses(taps, byte));
    passes = std::max(passes, static_cast<int>(blocks.back().size()));
  }
  columns.assign(blocks.size() / 4 * passes, {});
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    ColumnMix* mix = &columns[i / 4 * passes];
    const int slot = ColumnMix::kBlocks[i % 4];
    for (const BlockPass& pass : blocks[i]) {
      mix->start[slot] = pass.start;
      mix->pick[slot] = pass.pick;
      mix->weight[slot] = pass.weight;
      ++mix;
    }
  }
}

}  // namespace quorvex
