#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "linux/cameras/I420Picture.h"
#include "linux/cameras/V4l2Device.h"

namespace quorvex {

/// A video device that is delivering pictures into buffers shared with its driver, from its making
/// to its end. Each operation throws CameraError when the device fails. Bound to one thread.
class V4l2Stream {
 public:
  V4l2Stream(const std::string& path, const CaptureFormat& format, int fps);
  ~V4l2Stream();
  V4l2Stream(const V4l2Stream&) = delete;
  V4l2Stream& operator=(const V4l2Stream&) = delete;

  /// Waits at most 100 ms for a picture. The capture time (monotonic, nanoseconds) of the one now
  /// in `picture`; none when none came, or one that was damaged and is added to `damaged`.
  [[nodiscard]] std::optional<std::int64_t> nextPicture(std::uint64_t& damaged);

  /// The newest sound picture.
  [[nodiscard]] const I420Picture& picture() const { return converted; }

 private:
  static constexpr unsigned kBuffers = 4;

  /// One of the driver's buffers, mapped.
  struct Mapping {
    std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
  };

  void setFormat(const CaptureFormat& format);
  void setRate(int fps) const;
  void mapBuffers();
  void unmapBuffers();

  V4l2Device device;
  FourCharCode pixelFormat = 0;
  int bytesPerLine = 0;
  std::array<Mapping, kBuffers> mappings;
  I420Picture converted;
};

}  // namespace quorvex
