#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "linux/vcam/RawVideo.h"
#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex::test {

using Bytes = std::vector<std::uint8_t>;

/// Numbered pictures (0 to 219) in which every pixel tells its place and number, written and read
/// byte by byte.
class TestPictures {
 public:
  explicit TestPictures(int width = kVirtualCameraWidth, int height = kVirtualCameraHeight) {
    (void)CVPixelBufferPoolCreate({.width = width, .height = height}, &pool);
  }

  /// None when all buffers of the pool are held by somebody.
  [[nodiscard]] std::optional<CMSampleBuffer> sample(int number) const {
    PixelBufferRef image;
    if (CVPixelBufferPoolCreatePixelBuffer(pool, &image) != kNoError) return {};
    for (int y = 0; y < image->height(); ++y)
      for (int x = 0; x < image->width(); ++x)
        image->baseAddressOfPlane(0)[y * image->bytesPerRowOfPlane(0) + x] = luma(x, y, number);
    for (int y = 0; y < image->height() / 2; ++y)
      for (int x = 0; x < image->width() / 2; ++x) {
        auto* pair = image->baseAddressOfPlane(1) + y * image->bytesPerRowOfPlane(1) + 2 * x;
        pair[0] = cb(x, y, number);
        pair[1] = cr(x, y, number);
      }
    return CMSampleBuffer{image,
                          {image->pixelFormat(), image->width(), image->height()},
                          {{1, 30}, {number, 30}, {}}};
  }

  /// The number of the picture in `frame`; none when a single byte of it is not as it must be.
  [[nodiscard]] static std::optional<int> numberIn(std::span<const std::uint8_t> frame,
                                                   RawVideoFormat format) {
    for (int number = 0; number < kNumbers; ++number)
      if (luma(0, 0, number) == frame[0] && std::ranges::equal(frame, bytes(number, format)))
        return number;
    return {};
  }

  [[nodiscard]] static bool isGrey(std::span<const std::uint8_t> frame, RawVideoFormat format) {
    const std::size_t pixels = std::size_t{kVirtualCameraWidth} * kVirtualCameraHeight;
    for (std::size_t i = 0; i < frame.size(); ++i) {
      const bool isLuma = format == RawVideoFormat::yuy2 ? i % 2 == 0 : i < pixels;
      if (frame[i] != (isLuma ? 48 : 128)) return false;
    }
    return true;
  }

 private:
  static constexpr int kNumbers = 220;

  static std::uint8_t luma(int x, int y, int n) {
    return static_cast<std::uint8_t>(16 + (x * 3 + y * 5 + n * 7) % kNumbers);
  }
  static std::uint8_t cb(int x, int y, int n) {
    return static_cast<std::uint8_t>(16 + (x + y * 2 + n * 11) % 225);
  }
  static std::uint8_t cr(int x, int y, int n) {
    return static_cast<std::uint8_t>(16 + (x * 7 + y + n * 13) % 225);
  }

  static Bytes bytes(int n, RawVideoFormat format) {
    constexpr int width = kVirtualCameraWidth;
    constexpr int height = kVirtualCameraHeight;
    Bytes out;
    out.reserve(std::size_t{2} * width * height);
    if (format == RawVideoFormat::yuy2) {
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; x += 2)
          out.insert(out.end(),
                     {luma(x, y, n), cb(x / 2, y / 2, n), luma(x + 1, y, n), cr(x / 2, y / 2, n)});
      return out;
    }
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) out.push_back(luma(x, y, n));
    for (int plane = 0; plane < 2; ++plane)
      for (int y = 0; y < height / 2; ++y)
        for (int x = 0; x < width / 2; ++x) {
          if (plane == 0 || format == RawVideoFormat::i420)
            out.push_back(plane == 0 ? cb(x, y, n) : cr(x, y, n));
          if (plane == 0 && format == RawVideoFormat::nv12) out.push_back(cr(x, y, n));
        }
    return out;
  }

  PixelBufferPoolRef pool;
};

}  // namespace quorvex::test
