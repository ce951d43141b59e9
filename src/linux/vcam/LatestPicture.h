#pragma once

#include <mutex>

#include "platform/PixelBuffer.h"

namespace quorvex {

/// Passes the newest picture from the thread that delivers to the thread that serves readers; older
/// ones are lost. Before the first it holds a dark grey one. Thread-safe: its mutex is held only
/// while a reference is copied, so neither side waits for what the other does with a picture.
class LatestPicture {
 public:
  /// Throws std::bad_alloc when there is no memory for the grey picture.
  LatestPicture();

  void put(PixelBufferRef picture);
  [[nodiscard]] PixelBufferRef get() const;

 private:
  mutable std::mutex mutex;
  PixelBufferRef newest;  // protected by mutex
};

}  // namespace quorvex
