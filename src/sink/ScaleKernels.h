#pragma once

#include <cstdint>
#include <span>

namespace quorvex {

/// How 32 neighbouring bytes of a row are mixed from two bytes each of another row: every block of
/// eight has a window of 16 source bytes, from which `pick` takes the two that each byte needs.
/// The blocks stand in the order 0, 2, 1, 3, in which packing them with AVX2 puts them right.
struct alignas(32) ColumnMix {
  static constexpr int kBytes = 32;
  static constexpr int kBlocks = 4;
  static constexpr int kWindow = 16;
  static constexpr int kBlockAt[kBlocks] = {0, 2, 1, 3};

  std::uint8_t pick[kBlocks][kWindow];
  std::uint8_t weight[kBlocks][kWindow];
  std::uint32_t start[kBlocks];
};

/// The two inner loops of scaling, in one instruction set. All sets give the same bytes.
///
/// Weights are unsigned bytes, the weights of one result add up to 256 and none is alone: that is
/// the finest that the byte multiply-and-add instructions of x86 take. They want the other factor
/// signed, so between the loops samples are stored less 128; then no sum leaves 16 bits.
struct ScaleKernels {
  const char* name;

  /// Mixes `2 * pairs` rows of `bytes`, a multiple of 32, into one row of signed samples.
  void (*blendRows)(const std::uint8_t* const* rows, const std::uint8_t* weights, int pairs,
                    int bytes, std::int8_t* out);

  /// Writes 32 bytes for each `pairs` of the mixes, which add up. Flips the bits of `sign` in each
  /// byte: 0x80 makes them plain samples again. Reads up to 15 bytes behind the last one it uses.
  void (*mixColumns)(const std::int8_t* row, std::span<const ColumnMix> mixes, int pairs,
                     std::uint8_t sign, std::uint8_t* out);
};

/// The sets that this processor runs, the fastest first, the one in plain C++ last.
[[nodiscard]] std::span<const ScaleKernels> scaleKernels();

}  // namespace quorvex
