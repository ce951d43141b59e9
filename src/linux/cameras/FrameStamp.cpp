#include "linux/cameras/FrameStamp.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <numeric>

namespace quorvex {
namespace {

constexpr int kColumns = 26;
constexpr int kRows = 2;
constexpr int kBitColumns = kColumns - 2;
constexpr std::uint8_t kBlackLuma = 32;
constexpr std::uint8_t kWhiteLuma = 220;
constexpr int kLeastContrast = 48;
constexpr int kLowestPicture = 60;

using Cells = std::array<std::array<int, kColumns>, kRows>;

PixelRect stripOf(const PixelRect& picture) {
  const int height = picture.height / 10;
  return {picture.x, picture.y + picture.height - height, picture.width, height};
}

PixelRect cellOf(const PixelRect& strip, int row, int column) {
  const int left = strip.width * column / kColumns;
  const int right = strip.width * (column + 1) / kColumns;
  const int top = strip.height * row / kRows;
  const int bottom = strip.height * (row + 1) / kRows;
  return {strip.x + left, strip.y + top, right - left, bottom - top};
}

std::uint16_t checkBits(std::uint32_t number) {
  std::uint16_t remainder = 0xffff;  // CRC-16/CCITT
  for (int bit = 31; bit >= 0; --bit) {
    const bool carry = ((remainder >> 15) ^ (number >> bit)) & 1;
    remainder = static_cast<std::uint16_t>(remainder << 1);
    if (carry) remainder ^= 0x1021;
  }
  return remainder;
}

bool cellIsWhite(std::uint64_t payload, int row, int column) {
  if (column == 0) return row == 0;
  if (column == kColumns - 1) return row == 1;
  return payload >> (row * kBitColumns + column - 1) & 1;
}

// The middle of a cell only: scaling and the codec smear its edges.
int meanOfMiddle(const std::uint8_t* luma, int stride, const PixelRect& cell) {
  const int width = std::max(cell.width / 2, 1);
  const int height = std::max(cell.height / 2, 1);
  luma += static_cast<std::ptrdiff_t>(cell.y + cell.height / 4) * stride + cell.x + cell.width / 4;
  int sum = 0;
  for (int y = 0; y < height; ++y, luma += stride) sum = std::accumulate(luma, luma + width, sum);
  return sum / (width * height);
}

std::optional<std::uint32_t> decode(const Cells& cells) {
  const int white = (cells[0].front() + cells[1].back()) / 2;
  const int black = (cells[1].front() + cells[0].back()) / 2;
  if (white - black < kLeastContrast) return std::nullopt;
  std::uint64_t payload = 0;
  for (int row = 0; row < kRows; ++row) {
    for (int column = 1; column <= kBitColumns; ++column) {
      const std::uint64_t bit = cells[row][column] > (white + black) / 2;
      payload |= bit << (row * kBitColumns + column - 1);
    }
  }
  const auto number = static_cast<std::uint32_t>(payload >> 16);
  if (checkBits(number) != (payload & 0xffff)) return std::nullopt;
  return number;
}

}  // namespace

void paintFrameStamp(std::uint32_t number, I420Picture& picture) {
  const std::uint64_t payload = std::uint64_t{number} << 16 | checkBits(number);
  const PixelRect strip = stripOf({0, 0, picture.width, picture.height});
  for (int row = 0; row < kRows; ++row) {
    for (int column = 0; column < kColumns; ++column) {
      const PixelRect cell = cellOf(strip, row, column);
      const std::uint8_t luma = cellIsWhite(payload, row, column) ? kWhiteLuma : kBlackLuma;
      for (int y = cell.y; y < cell.y + cell.height; ++y) {
        std::memset(picture.y() + static_cast<std::ptrdiff_t>(y) * picture.strideY() + cell.x, luma,
                    cell.width);
      }
    }
  }
  const int chromaTop = strip.y / 2;
  const int chromaRows = (picture.height + 1) / 2 - chromaTop;
  const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(chromaTop) * picture.strideChroma();
  const std::size_t count = static_cast<std::size_t>(chromaRows) * picture.strideChroma();
  std::memset(picture.u() + offset, 128, count);
  std::memset(picture.v() + offset, 128, count);
}

std::optional<std::uint32_t> readFrameStamp(const std::uint8_t* luma, int stride,
                                            const PixelRect& content) {
  if (content.width < kNarrowestStamp || content.height < kLowestPicture) return std::nullopt;
  const PixelRect strip = stripOf(content);
  Cells cells;
  for (int row = 0; row < kRows; ++row) {
    for (int column = 0; column < kColumns; ++column)
      cells[row][column] = meanOfMiddle(luma, stride, cellOf(strip, row, column));
  }
  if (auto number = decode(cells)) return number;
  for (auto& row : cells) std::reverse(row.begin(), row.end());
  return decode(cells);
}

}  // namespace quorvex
