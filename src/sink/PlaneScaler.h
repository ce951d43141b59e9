#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "sink/ScaleKernels.h"

namespace quorvex {

/// Scales one plane of 8-bit samples, or of interleaved pairs of them, to any size: between samples
/// when it grows, by the weighted mean of all samples a pixel covers (a triangle) when it shrinks.
/// Keeps tables for the geometry it last saw; a steady one allocates nothing. One thread at a time.
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
  /// For each pixel along one axis, the samples to mix and their weights, which add up to 256.
  struct Taps {
    int perPixel = 0;  // even
    std::vector<int> index;
    std::vector<std::uint8_t> weight;
  };
  /// One pass along a row.
  struct ColumnStage {
    int pairs = 0;
    std::vector<ColumnMix> mixes;
  };

  void prepare();
  void scaleRow(std::uint8_t* to);
  static Taps makeTaps(double ratio, double reach, int count, int samples);
  static void makeWeights(Taps& taps, int pixel, double centre, double reach, int first);
  static ColumnStage makeStage(const Taps& taps, int bytesPerPixel, bool mirrored);
  static void fillBlock(ColumnMix& mix, int block, const Taps& taps, int pair, int firstByte,
                        int bytesPerPixel, bool mirrored);

  const ScaleKernels& kernels;
  Geometry geometry;
  Taps rowTaps;
  std::vector<const std::uint8_t*> rows;         // the rows that make the present one
  std::vector<ColumnStage> stages;               // the last one writes the result
  std::array<std::vector<std::int8_t>, 2> line;  // between two passes
};

}  // namespace quorvex
