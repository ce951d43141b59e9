#pragma once

#include <cstdint>
#include <optional>

#include "platform/PixelBuffer.h"

namespace quorvex {

constexpr OSStatus kCMFormatDescriptionError_InvalidParameter = -12710;
constexpr OSStatus kCMSampleBufferError_RequiredParameterMissing = -12731;
constexpr OSStatus kCMSimpleQueueError_QueueIsFull = -12773;

/// What a consumer must know of a picture before it looks at its bytes.
struct CMVideoFormatDescription {
  FourCharCode pixelFormat = 0;
  int width = 0;
  int height = 0;
  bool operator==(const CMVideoFormatDescription&) const = default;
};

/// A point or a length of time of `value` / `timescale` seconds; a timescale of 0 is no time.
struct CMTime {
  std::int64_t value = 0;
  std::int32_t timescale = 0;
};
constexpr CMTime kCMTimeInvalid{};

struct CMSampleTimingInfo {
  CMTime duration;
  CMTime presentationTimeStamp;
  CMTime decodeTimeStamp;
};

/// One picture with its time. A value: copying it holds the picture once more and allocates
/// nothing.
struct CMSampleBuffer {
  PixelBufferRef imageBuffer;
  CMVideoFormatDescription formatDescription;
  CMSampleTimingInfo timing;
};

[[nodiscard]] inline bool CMVideoFormatDescriptionMatchesImageBuffer(
    const CMVideoFormatDescription& description, const PixelBufferRef& image) {
  return image && description == CMVideoFormatDescription{image->pixelFormat(), image->width(),
                                                          image->height()};
}

[[nodiscard]] inline OSStatus CMVideoFormatDescriptionCreateForImageBuffer(
    const PixelBufferRef& image, std::optional<CMVideoFormatDescription>* description) {
  if (!image) return kCMFormatDescriptionError_InvalidParameter;
  *description = {image->pixelFormat(), image->width(), image->height()};
  return kNoError;
}

[[nodiscard]] inline OSStatus CMSampleBufferCreateForImageBuffer(
    const PixelBufferRef& image, const CMVideoFormatDescription& description,
    const CMSampleTimingInfo& timing, std::optional<CMSampleBuffer>* sample) {
  if (!CMVideoFormatDescriptionMatchesImageBuffer(description, image))
    return kCMSampleBufferError_RequiredParameterMissing;
  *sample = CMSampleBuffer{image, description, timing};
  return kNoError;
}

/// The bounded queue between the host, which writes, and a stream's consumer. The writing side is
/// thread-safe and never waits.
class CMSimpleQueue {
 public:
  virtual ~CMSimpleQueue() = default;
  [[nodiscard]] virtual int CMSimpleQueueGetCount() const = 0;
  [[nodiscard]] virtual int CMSimpleQueueGetCapacity() const = 0;
  [[nodiscard]] virtual OSStatus CMSimpleQueueEnqueue(CMSampleBuffer sample) = 0;
};

}  // namespace quorvex
