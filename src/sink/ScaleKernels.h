#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace quorvex {

/// Two source bytes for each of 32 neighbouring bytes of a row, and their weights: every block of
/// eight has a window of 16 source bytes, from which `pick` takes its pairs. The blocks stand in
/// the order 0, 2, 1, 3, in which packing them with AVX2 puts them right.
struct alignas(32) ColumnMix {
  static constexpr int kBytes = 32;
  static constexpr int kWindow = 16;
  static constexpr std::array<int, 4> kBlocks = {0, 2, 1, 3};

  std::array<std::array<std::uint8_t, kWindow>, kBlocks.size()> pick{};
  std::array<std::array<std::uint8_t, kWindow>, kBlocks.size()> weight{};
  std::array<std::uint32_t, kBlocks.size()> start{};  ///< of the windows
};

/// The two inner loops of scaling, in one instruction set. All sets give the same bytes.
///
/// The weights of one result add up to 256 and none is alone: that is the finest that the byte
/// multiply-and-add instructions of x86 take. They want the other factor signed, so between the
/// loops samples are stored less 128; then no sum leaves 16 bits.
struct ScaleKernels {
  const char* name;

  /// Mixes `2 * pairs` rows of `bytes`, a multiple of 32, into one row of signed samples.
  void (*blendRows)(const std::uint8_t* const* rows, const std::uint8_t* weights, int pairs,
                    int bytes, std::int8_t* out);

  /// Writes 32 plain samples for each `passes` of the mixes, which add up. May read 15 bytes
  /// behind the last one that it uses. Rounds halves down, as `blendRows` rounds them up, so that
  /// the picture keeps its brightness.
  void (*mixColumns)(const std::int8_t* row, std::span<const ColumnMix> mixes, int passes,
                     std::uint8_t* out);
};

/// The sets that this processor runs, the fastest first, the one in plain C++ last.
[[nodiscard]] std::span<const ScaleKernels> scaleKernels();

}  // namespace quorvex
