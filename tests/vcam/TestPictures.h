#pragma once

#include <cstdint>
#include <optional>
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
    const int width = image->width(), height = image->height();
    for (int y = 0; y < height * 3 / 2; ++y) {
      const int plane = y >= height, row = y - plane * height;
      auto* bytes = image->baseAddressOfPlane(plane) + row * image->bytesPerRowOfPlane(plane);
      for (int x = 0; x < width; ++x)
        bytes[x] = plane ? pair(x, row, number) : value(0, x, y, number);
    }
    return CMSampleBuffer{
        image, {image->pixelFormat(), width, height}, {{1, 30}, {number, 30}, {}}};
  }

  [[nodiscard]] static int numberIn(const Bytes& frame, RawVideoFormat format) {
    for (int number = kGrey; number < kNumbers; ++number)
      if (value(0, 0, 0, number) == frame[0] && frame == bytes(number, format)) return number;
    return kGarbled;
  }

 private:
  // Planes are Y, Cb and Cr.
  static std::uint8_t value(int plane, int x, int y, int number) {
    if (number == kGrey) return plane == 0 ? 48 : 128;
    return static_cast<std::uint8_t>(
        16 + (x * (3 + plane) + y * (5 - plane) + number * 7 + plane * 50) % kNumbers);
  }
  /// Of a row in which Cb and Cr take turns.
  static std::uint8_t pair(int x, int y, int number) { return value(1 + x % 2, x / 2, y, number); }

  static Bytes bytes(int number, RawVideoFormat format) {
    constexpr int kWidth = kVirtualCameraWidth;
    constexpr int kHeight = kVirtualCameraHeight;
    Bytes out(rawVideoBytes(format));
    auto* at = out.data();
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        *at++ = value(0, x, y, number);
        if (format == RawVideoFormat::yuy2) *at++ = pair(x, y / 2, number);
      }
    for (int y = 0; y < kHeight / 2 && format == RawVideoFormat::nv12; ++y)
      for (int x = 0; x < kWidth; ++x) *at++ = pair(x, y, number);
    for (int plane = 1; plane <= 2 && format == RawVideoFormat::i420; ++plane)
      for (int i = 0; i < kHeight / 2 * kWidth / 2; ++i)
        *at++ = value(plane, i % (kWidth / 2), i / (kWidth / 2), number);
    return out;
  }

  PixelBufferPoolRef pool;
};

}  // namespace quorvex::test
