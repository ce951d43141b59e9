#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "sink/ScaleKernels.h"

namespace quorvex {

/// Scales one plane of 8-bit samples, or of interleaved pairs of them, to any size: a pixel is the
/// mean of the samples it covers, each by its share; one smaller than a sample lies between its
/// neighbours (bilinear). Keeps tables for the geometry it last saw, so that a steady one allocates
/// nothing. One thread at a time.
class PlaneScaler {
 public:
  struct Geometry {
    /// In pixels of this plane. Half a one is left where chroma covers an odd number of luma.
    double sourceWidth = 0;
    double sourceHeight = 0;
    int width = 0;
    int height = 0;
    int bytesPerPixel = 1;  ///< 1, or 2 for pairs
    bool mirrored = false;  ///< left to right
    bool operator==(const Geometry&) const = default;
  };

  explicit PlaneScaler(const ScaleKernels& with = scaleKernels().front()) : kernels(with) {}

  /// Each row of `from` must be readable to the next multiple of 32 bytes; what stands there does
  /// not matter. Of `to`, only the pixels of the geometry are written.
  void scale(const Geometry& wanted, const std::uint8_t* from, int fromStride, std::uint8_t* to,
             int toStride);

 private:
  /// For each pixel along one axis, an even number of samples to mix and their weights.
  struct Taps {
    int perPixel = 0;
    std::vector<int> index;
    std::vector<std::uint8_t> weight;
  };
  class TapCursor;
  struct BlockPass {  // what one ColumnMix says about one of its blocks
    std::uint32_t start = 0;
    std::array<std::uint8_t, ColumnMix::kWindow> pick{}, weight{};
  };

  void prepare();
  void makeColumns(const Taps& taps);
  std::vector<BlockPass> blockPasses(const Taps& taps, int firstByte) const;
  static Taps makeTaps(double ratio, int count, int samples);
  /// `covered` is the share of the pixel that lies before its first sample, negative where that
  /// sample begins before the pixel does.
  static void makeWeights(Taps& taps, int pixel, double covered, double perSample);

  const ScaleKernels& kernels;
  Geometry geometry;
  Taps rowTaps;
  std::vector<const std::uint8_t*> rows;  // those that make the present one
  std::vector<std::int8_t> line;          // the present one before its columns are mixed
  std::vector<ColumnMix> columns;
  int passes = 0;  // over the columns
};

}  // namespace quorvex
