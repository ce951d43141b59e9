#include "sink/ScaleKernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace quorvex {
namespace {

// Loops of a fixed length, which compilers turn into vector code without being told to.
void blendRowsPlain(const std::uint8_t* const* rows, const std::uint8_t* weights, int pairs,
                    int bytes, std::int8_t* out) {
  for (int x = 0; x < bytes; x += 32) {
    std::array<std::int16_t, 32> sums;
    sums.fill(128);
    for (int tap = 0; tap < 2 * pairs; ++tap) {
      const std::uint8_t* row = rows[tap] + x;
      const int weight = weights[tap];
      for (int i = 0; i < 32; ++i)
        sums[i] = static_cast<std::int16_t>(sums[i] + weight * (row[i] - 128));
    }
    for (int i = 0; i < 32; ++i) out[x + i] = static_cast<std::int8_t>(sums[i] >> 8);
  }
}

void addPass(const std::int8_t* row, const ColumnMix& mix,
             std::array<int, ColumnMix::kBytes>& sums) {
  for (std::size_t block = 0; block < ColumnMix::kBlocks.size(); ++block) {
    const std::int8_t* window = row + mix.start[block];
    const auto& pick = mix.pick[block];
    const auto& weight = mix.weight[block];
    int* sum = &sums[ColumnMix::kBlocks[block] * 8];
    for (int i = 0; i < ColumnMix::kWindow; i += 2)
      sum[i / 2] += weight[i] * window[pick[i]] + weight[i + 1] * window[pick[i + 1]];
  }
}

void mixColumnsPlain(const std::int8_t* row, std::span<const ColumnMix> mixes, int passes,
                     std::uint8_t* out) {
  for (; !mixes.empty(); mixes = mixes.subspan(passes), out += ColumnMix::kBytes) {
    std::array<int, ColumnMix::kBytes> sums;
    sums.fill(127);
    for (const ColumnMix& mix : mixes.first(passes)) addPass(row, mix, sums);
    for (int i = 0; i < ColumnMix::kBytes; ++i)
      out[i] = static_cast<std::uint8_t>((sums[i] >> 8) + 128);
  }
}

#if defined(__x86_64__)

// Multiplying by 128 and keeping the rounded upper half is (sum + 128) >> 8 in one instruction.
constexpr short kRound = 128;

short weightPair(const std::uint8_t* weights) {
  return static_cast<short>(weights[0] | weights[1] << 8);
}

[[gnu::target("ssse3")]] inline __m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void blendRowsSsse3With(
    const std::uint8_t* const* __restrict rows, const std::uint8_t* __restrict weights, int pairs,
    int bytes, std::int8_t* __restrict out) {
  const __m128i sign = _mm_set1_epi8(-128), round = _mm_set1_epi16(kRound);
  for (int x = 0; x < bytes; x += 16) {
    __m128i low = _mm_setzero_si128(), high = low;
    for (int pair = 0; pair < pairs; ++pair) {
      const __m128i weight = _mm_set1_epi16(weightPair(weights + 2 * pair));
      const __m128i a = _mm_xor_si128(load128(rows[2 * pair] + x), sign);
      const __m128i b = _mm_xor_si128(load128(rows[2 * pair + 1] + x), sign);
      low = _mm_add_epi16(low, _mm_maddubs_epi16(weight, _mm_unpacklo_epi8(a, b)));
      high = _mm_add_epi16(high, _mm_maddubs_epi16(weight, _mm_unpackhi_epi8(a, b)));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                     _mm_packs_epi16(_mm_mulhrs_epi16(low, round), _mm_mulhrs_epi16(high, round)));
  }
}

// With the number of pairs known, the compiler keeps rows and weights in registers.
[[gnu::target("ssse3")]] void blendRowsSsse3(const std::uint8_t* const* rows,
                                             const std::uint8_t* weights, int pairs, int bytes,
                                             std::int8_t* out) {
  if (pairs == 1) return blendRowsSsse3With(rows, weights, 1, bytes, out);
  if (pairs == 2) return blendRowsSsse3With(rows, weights, 2, bytes, out);
  blendRowsSsse3With(rows, weights, pairs, bytes, out);
}

[[gnu::target("ssse3"), gnu::always_inline]] inline __m128i mixBlock(const std::int8_t* row,
                                                                     const ColumnMix* mix,
                                                                     int passes, int block) {
  __m128i sum = _mm_set1_epi16(-1);
  for (const ColumnMix* end = mix + passes; mix != end; ++mix) {
    const __m128i window = load128(row + mix->start[block]);
    const __m128i picked = _mm_shuffle_epi8(window, load128(&mix->pick[block]));
    sum = _mm_adds_epi16(sum, _mm_maddubs_epi16(load128(&mix->weight[block]), picked));
  }
  return _mm_mulhrs_epi16(sum, _mm_set1_epi16(kRound));
}

[[gnu::target("ssse3"), gnu::always_inline]] inline void mixColumnsSsse3With(
    const std::int8_t* row, std::span<const ColumnMix> mixes, int passes, std::uint8_t* out) {
  const __m128i sign = _mm_set1_epi8(-128);
  for (const ColumnMix* mix = mixes.data(); mix != mixes.data() + mixes.size(); mix += passes) {
    for (int half = 0; half < 2; ++half, out += 16) {
      const __m128i bytes =
          _mm_packs_epi16(mixBlock(row, mix, passes, half), mixBlock(row, mix, passes, half + 2));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_xor_si128(bytes, sign));
    }
  }
}

[[gnu::target("ssse3")]] void mixColumnsSsse3(const std::int8_t* row,
                                              std::span<const ColumnMix> mixes, int passes,
                                              std::uint8_t* out) {
  if (passes == 1) return mixColumnsSsse3With(row, mixes, 1, out);
  if (passes == 2) return mixColumnsSsse3With(row, mixes, 2, out);
  mixColumnsSsse3With(row, mixes, passes, out);
}

[[gnu::target("avx2")]] inline __m256i load256(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void blendRowsAvx2With(
    const std::uint8_t* const* __restrict rows, const std::uint8_t* __restrict weights, int pairs,
    int bytes, std::int8_t* __restrict out) {
  const __m256i sign = _mm256_set1_epi8(-128), round = _mm256_set1_epi16(kRound);
  for (int x = 0; x < bytes; x += 32) {
    __m256i low = _mm256_setzero_si256(), high = low;
    for (int pair = 0; pair < pairs; ++pair) {
      const __m256i weight = _mm256_set1_epi16(weightPair(weights + 2 * pair));
      const __m256i a = _mm256_xor_si256(load256(rows[2 * pair] + x), sign);
      const __m256i b = _mm256_xor_si256(load256(rows[2 * pair + 1] + x), sign);
      low = _mm256_add_epi16(low, _mm256_maddubs_epi16(weight, _mm256_unpacklo_epi8(a, b)));
      high = _mm256_add_epi16(high, _mm256_maddubs_epi16(weight, _mm256_unpackhi_epi8(a, b)));
    }
    _mm256_storeu_si256(
        reinterpret_cast<__m256i*>(out + x),
        _mm256_packs_epi16(_mm256_mulhrs_epi16(low, round), _mm256_mulhrs_epi16(high, round)));
  }
}

[[gnu::target("avx2")]] void blendRowsAvx2(const std::uint8_t* const* rows,
                                           const std::uint8_t* weights, int pairs, int bytes,
                                           std::int8_t* out) {
  if (pairs == 1) return blendRowsAvx2With(rows, weights, 1, bytes, out);
  if (pairs == 2) return blendRowsAvx2With(rows, weights, 2, bytes, out);
  blendRowsAvx2With(rows, weights, pairs, bytes, out);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i mixTwoBlocks(const std::int8_t* row,
                                                                        const ColumnMix* mix,
                                                                        int passes, int block) {
  __m256i sum = _mm256_set1_epi16(-1);
  for (const ColumnMix* end = mix + passes; mix != end; ++mix) {
    const __m256i first = _mm256_castsi128_si256(load128(row + mix->start[block]));
    const __m256i windows = _mm256_inserti128_si256(first, load128(row + mix->start[block + 1]), 1);
    const __m256i picked = _mm256_shuffle_epi8(windows, load256(&mix->pick[block]));
    sum = _mm256_adds_epi16(sum, _mm256_maddubs_epi16(load256(&mix->weight[block]), picked));
  }
  return _mm256_mulhrs_epi16(sum, _mm256_set1_epi16(kRound));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void mixColumnsAvx2With(
    const std::int8_t* row, std::span<const ColumnMix> mixes, int passes, std::uint8_t* out) {
  const __m256i sign = _mm256_set1_epi8(-128);
  for (const ColumnMix* mix = mixes.data(); mix != mixes.data() + mixes.size(); mix += passes) {
    const __m256i bytes =
        _mm256_packs_epi16(mixTwoBlocks(row, mix, passes, 0), mixTwoBlocks(row, mix, passes, 2));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_xor_si256(bytes, sign));
    out += ColumnMix::kBytes;
  }
}

[[gnu::target("avx2")]] void mixColumnsAvx2(const std::int8_t* row,
                                            std::span<const ColumnMix> mixes, int passes,
                                            std::uint8_t* out) {
  if (passes == 1) return mixColumnsAvx2With(row, mixes, 1, out);
  if (passes == 2) return mixColumnsAvx2With(row, mixes, 2, out);
  mixColumnsAvx2With(row, mixes, passes, out);
}

#endif

}  // namespace

std::span<const ScaleKernels> scaleKernels() {
#if defined(__x86_64__)
  static constexpr ScaleKernels kAll[] = {{"AVX2", blendRowsAvx2, mixColumnsAvx2},
                                          {"SSSE3", blendRowsSsse3, mixColumnsSsse3},
                                          {"plain", blendRowsPlain, mixColumnsPlain}};
  static const int first =
      __builtin_cpu_supports("avx2") ? 0 : (__builtin_cpu_supports("ssse3") ? 1 : 2);
  return std::span(kAll).subspan(first);
#else
  static constexpr ScaleKernels kAll[] = {{"plain", blendRowsPlain, mixColumnsPlain}};
  return kAll;
#endif
}

}  // namespace quorvex
