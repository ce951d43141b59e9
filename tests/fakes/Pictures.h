#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/PixelBuffer.h"

namespace quorvex {

inline PixelBufferRef makeBuffer(int width, int height) {
  PixelBufferPoolRef pool;
  PixelBufferRef buffer;
  EXPECT_EQ(CVPixelBufferPoolCreate({.width = width, .height = height}, &pool), kNoError);
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(pool, &buffer), kNoError);
  return buffer;
}

/// An I420 picture with padded rows, each byte a function of its place.
struct PaddedPicture {
  PaddedPicture(int w, int h, int padding = 13)
      : y((w + padding) * h), u(((w + 1) / 2 + padding) * ((h + 1) / 2)), v(u.size()) {
    fill(y, 3);
    fill(u, 5);
    fill(v, 7);
    view = {w,
            h,
            y.data(),
            u.data(),
            v.data(),
            w + padding,
            (w + 1) / 2 + padding,
            (w + 1) / 2 + padding};
  }
  static void fill(std::vector<std::uint8_t>& plane, int step) {
    for (std::size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<std::uint8_t>(i * step);
  }
  std::vector<std::uint8_t> y, u, v;
  I420View view;
};

}  // namespace quorvex
