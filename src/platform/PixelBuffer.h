#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace quorvex {

using FourCharCode = std::uint32_t;
using OSStatus = std::int32_t;

constexpr OSStatus kNoError = 0;
constexpr OSStatus kCVReturnInvalidPixelFormat = -6680;
constexpr OSStatus kCVReturnInvalidSize = -6681;
constexpr OSStatus kCVReturnWouldExceedAllocationThreshold = -6689;

/// "420v": bi-planar Y'CbCr 4:2:0, 8 bits a sample, video range; plane 1 holds Cb, Cr byte pairs.
constexpr FourCharCode kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 0x34323076;

/// A part of a picture, in pixels.
struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  bool operator==(const PixelRect&) const = default;
};

/// A view of a planar 4:2:0 picture that somebody else owns; strides in bytes. The chroma planes
/// are half the size, rounded up.
struct I420View {
  int width = 0;
  int height = 0;
  const std::uint8_t* dataY = nullptr;
  const std::uint8_t* dataU = nullptr;
  const std::uint8_t* dataV = nullptr;
  int strideY = 0;
  int strideU = 0;
  int strideV = 0;
};

class PixelBufferPool;

/// One 420v picture in memory, counted by the `PixelBufferRef`s that hold it. Whoever makes it
/// writes it before handing it on; from then on it is read only. Its planes start at multiples of
/// 64 bytes and so does each row.
class PixelBuffer {
 public:
  PixelBuffer(const PixelBuffer&) = delete;
  PixelBuffer& operator=(const PixelBuffer&) = delete;

  [[nodiscard]] FourCharCode pixelFormat() const { return format; }
  [[nodiscard]] int width() const { return pixelWidth; }
  [[nodiscard]] int height() const { return pixelHeight; }
  /// Plane 0 is Y, plane 1 is CbCr.
  [[nodiscard]] std::uint8_t* baseAddressOfPlane(int plane) { return planes[plane].base; }
  [[nodiscard]] const std::uint8_t* baseAddressOfPlane(int plane) const {
    return planes[plane].base;
  }
  [[nodiscard]] int bytesPerRowOfPlane(int plane) const { return planes[plane].bytesPerRow; }

  /// The part of the picture that holds content; what lies around it is black. Stays with the
  /// buffer when its pool hands it out again, so that the black need not be painted twice.
  PixelRect cleanAperture;

 private:
  friend class PixelBufferPool;
  friend class PixelBufferRef;

  struct Plane {
    std::uint8_t* base = nullptr;
    int bytesPerRow = 0;
  };
  struct FreeBytes {
    void operator()(std::uint8_t* bytes) const;
  };

  PixelBuffer(FourCharCode pixelFormat, int width, int height);

  FourCharCode format;
  int pixelWidth;
  int pixelHeight;
  std::unique_ptr<std::uint8_t[], FreeBytes> bytes;
  std::array<Plane, 2> planes;
  std::atomic<int> references{0};
  std::shared_ptr<PixelBufferPool> pool;  ///< set while handed out, so that it can come home
};

/// Holds one pixel buffer; the last one to let go returns it to its pool. Copying it allocates
/// nothing. As thread-safe as a std::shared_ptr.
class PixelBufferRef {
 public:
  PixelBufferRef() = default;
  explicit PixelBufferRef(PixelBuffer* held) : buffer(held) { retain(); }
  PixelBufferRef(const PixelBufferRef& other) : buffer(other.buffer) { retain(); }
  PixelBufferRef(PixelBufferRef&& other) noexcept : buffer(std::exchange(other.buffer, nullptr)) {}
  PixelBufferRef& operator=(PixelBufferRef other) noexcept {
    std::swap(buffer, other.buffer);
    return *this;
  }
  ~PixelBufferRef();

  explicit operator bool() const { return buffer != nullptr; }
  PixelBuffer* operator->() const { return buffer; }
  PixelBuffer& operator*() const { return *buffer; }
  bool operator==(const PixelBufferRef&) const = default;

 private:
  void retain() {
    if (buffer) buffer->references.fetch_add(1, std::memory_order_relaxed);
  }

  PixelBuffer* buffer = nullptr;
};

struct PixelBufferAttributes {
  FourCharCode pixelFormat = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
  int width = 0;
  int height = 0;
};

using PixelBufferPoolRef = std::shared_ptr<PixelBufferPool>;

/// The most buffers of one pool that may be in use at once: what a frame path holds when every
/// queue on it is full, with room to spare. A consumer that never lets go runs into it instead of
/// eating the machine's memory.
constexpr int kPixelBufferPoolLimit = 24;

/// Makes a pool of 420v buffers of one size. Sizes from 1x1 to 16384x16384; anything else is
/// refused with a status.
[[nodiscard]] OSStatus CVPixelBufferPoolCreate(const PixelBufferAttributes& attributes,
                                               PixelBufferPoolRef* pool);

/// Takes a buffer from `pool`, recycled when one is free. Fails when `kPixelBufferPoolLimit` are in
/// use or memory is short. Thread-safe; the pool may be dropped while its buffers live.
[[nodiscard]] OSStatus CVPixelBufferPoolCreatePixelBuffer(const PixelBufferPoolRef& pool,
                                                          PixelBufferRef* buffer);

}  // namespace quorvex
