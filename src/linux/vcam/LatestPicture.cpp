#include "linux/vcam/LatestPicture.h"

#include <cstring>
#include <new>

#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {

LatestPicture::LatestPicture() {
  PixelBufferPoolRef pool;
  if (CVPixelBufferPoolCreate({.width = kVirtualCameraWidth, .height = kVirtualCameraHeight},
                              &pool) != kNoError ||
      CVPixelBufferPoolCreatePixelBuffer(pool, &newest) != kNoError)
    throw std::bad_alloc();
  constexpr int kDarkLuma = 48;
  constexpr int kNoColour = 128;
  std::memset(newest->baseAddressOfPlane(0), kDarkLuma,
              std::size_t{kVirtualCameraHeight} * newest->bytesPerRowOfPlane(0));
  std::memset(newest->baseAddressOfPlane(1), kNoColour,
              std::size_t{kVirtualCameraHeight} / 2 * newest->bytesPerRowOfPlane(1));
}

void LatestPicture::put(PixelBufferRef picture) {
  std::lock_guard hold(mutex);
  std::swap(newest, picture);
}

PixelBufferRef LatestPicture::get() const {
  std::lock_guard hold(mutex);
  return newest;
}

}  // namespace quorvex
