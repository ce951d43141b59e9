#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

#include "linux/vcam/RawVideo.h"
#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex::test {

using Bytes = std::vector<std::uint8_t>;

/// Numbered pictures (0 to 219) in which every byte tells its place and number.
class TestPictures {
 public:
  static constexpr int kNumbers = 220;
  static constexpr int kGrey = -1;      ///< the number of what readers see before the first picture
  static constexpr int kGarbled = 999;  ///< of no whole picture, or one with a wrong byte

  explicit TestPictures(int width = kVirtualCameraWidth, int height = kVirtualCameraHeight) {
    (void)CVPixelBufferPoolCreate({.width = width, .height = height}, &pool);
  }

  /// None when all buffers of the pool are held by somebody.
  [[nodiscard]] std::optional<CMSampleBuffer> sample(int number) const {
    PixelBufferRef image;
    if (CVPixelBufferPoolCreatePixelBuffer(pool, &image) != kNoError) return {};
    const auto row = [&](int plane, int y) {
      return image->baseAddressOfPlane(plane) + y * image->bytesPerRowOfPlane(plane);
    };
    for (int y = 0; y < image->height(); ++y)
      for (int x = 0; x < image->width(); ++x) {
        row(0, y)[x] = value(0, x, y, number);
        if (y % 2 == 0) row(1, y / 2)[x] = value(1 + x % 2, x / 2, y / 2, number);
      }
    return CMSampleBuffer{image,
                          {image->pixelFormat(), image->width(), image->height()},
                          {{1, 30}, {number, 30}, {}}};
  }

  [[nodiscard]] static int numberIn(std::span<const std::uint8_t> frame, RawVideoFormat format) {
    for (int number = kGrey; number < kNumbers && !frame.empty(); ++number)
      if (value(0, 0, 0, number) == frame[0] && std::ranges::equal(frame, bytes(number, format)))
        return number;
    return kGarbled;
  }

  /// Of all the pictures in a file, one after the other.
  [[nodiscard]] static std::vector<int> numbersIn(const std::string& path, RawVideoFormat format) {
    std::ifstream file(path, std::ios::binary);
    const Bytes content{std::istreambuf_iterator<char>(file), {}};
    std::vector<int> numbers;
    for (std::span<const std::uint8_t> rest(content); !rest.empty();) {
      const auto size = std::min(rawVideoBytes(format), rest.size());
      numbers.push_back(numberIn(rest.first(size), format));
      rest = rest.subspan(size);
    }
    return numbers;
  }

 private:
  // Planes are Y, Cb and Cr.
  static std::uint8_t value(int plane, int x, int y, int number) {
    if (number == kGrey) return plane == 0 ? 48 : 128;
    return static_cast<std::uint8_t>(
        16 + (x * (3 + plane) + y * (5 - plane) + number * 7 + plane * 50) % kNumbers);
  }

  static Bytes bytes(int number, RawVideoFormat format) {
    constexpr int kWidth = kVirtualCameraWidth;
    constexpr int kHeight = kVirtualCameraHeight;
    const bool packed = format == RawVideoFormat::yuy2;
    Bytes out;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        out.push_back(value(0, x, y, number));
        if (packed) out.push_back(value(1 + x % 2, x / 2, y / 2, number));
      }
    for (int y = 0; y < kHeight / 2 && format == RawVideoFormat::nv12; ++y)
      for (int x = 0; x < kWidth; ++x) out.push_back(value(1 + x % 2, x / 2, y, number));
    for (int plane = 1; plane <= 2 && format == RawVideoFormat::i420; ++plane)
      for (int y = 0; y < kHeight / 2; ++y)
        for (int x = 0; x < kWidth / 2; ++x) out.push_back(value(plane, x, y, number));
    return out;
  }

  PixelBufferPoolRef pool;
};

}  // namespace quorvex::test
