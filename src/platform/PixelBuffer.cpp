#include "platform/PixelBuffer.h"

#include <mutex>
#include <new>
#include <vector>

namespace quorvex {
namespace {

constexpr int kAlignment = 64;
constexpr int kLargestSide = 16384;

int alignedUp(int value) {
  return (value + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

class PixelBufferPool : public std::enable_shared_from_this<PixelBufferPool> {
 public:
  explicit PixelBufferPool(const PixelBufferAttributes& wanted) : attributes(wanted) {
    idle.reserve(kPixelBufferPoolLimit);
  }

  OSStatus take(PixelBufferRef* out) {
    std::unique_ptr<PixelBuffer> buffer;
    {
      std::lock_guard hold(mutex);
      if (!idle.empty()) {
        buffer = std::move(idle.back());
        idle.pop_back();
      } else if (made == kPixelBufferPoolLimit) {
        return kCVReturnWouldExceedAllocationThreshold;
      } else {
        ++made;
      }
    }
    if (!buffer && !(buffer = make())) {
      std::lock_guard hold(mutex);
      --made;
      return kCVReturnWouldExceedAllocationThreshold;
    }
    buffer->pool = shared_from_this();
    *out = PixelBufferRef(buffer.release());
    return kNoError;
  }

  void giveBack(PixelBuffer* buffer) {
    std::lock_guard hold(mutex);
    idle.emplace_back(buffer);
  }

 private:
  std::unique_ptr<PixelBuffer> make() const {
    try {
      return std::unique_ptr<PixelBuffer>(
          new PixelBuffer(attributes.pixelFormat, attributes.width, attributes.height));
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  const PixelBufferAttributes attributes;
  std::mutex mutex;
  int made = 0;                                    // protected by mutex
  std::vector<std::unique_ptr<PixelBuffer>> idle;  // protected by mutex
};

void PixelBuffer::FreeBytes::operator()(std::uint8_t* allocated) const {
  ::operator delete[](allocated, std::align_val_t{kAlignment});
}

PixelBuffer::PixelBuffer(FourCharCode pixelFormat, int width, int height)
    : cleanAperture{0, 0, width, height},
      format(pixelFormat),
      pixelWidth(width),
      pixelHeight(height) {
  const int rowBytes = alignedUp((width + 1) / 2 * 2);
  const std::size_t lumaBytes = static_cast<std::size_t>(rowBytes) * height;
  const std::size_t chromaBytes = static_cast<std::size_t>(rowBytes) * ((height + 1) / 2);
  bytes.reset(new (std::align_val_t{kAlignment}) std::uint8_t[lumaBytes + chromaBytes]);
  planes[0] = {bytes.get(), rowBytes};
  planes[1] = {bytes.get() + lumaBytes, rowBytes};
}

PixelBufferRef::~PixelBufferRef() {
  if (!buffer || buffer->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  auto home = std::move(buffer->pool);
  home->giveBack(buffer);
}

OSStatus CVPixelBufferPoolCreate(const PixelBufferAttributes& attributes,
                                 PixelBufferPoolRef* pool) {
  if (attributes.pixelFormat != kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange)
    return kCVReturnInvalidPixelFormat;
  if (attributes.width < 1 || attributes.height < 1 || attributes.width > kLargestSide ||
      attributes.height > kLargestSide)
    return kCVReturnInvalidSize;
  *pool = std::make_shared<PixelBufferPool>(attributes);
  return kNoError;
}

OSStatus CVPixelBufferPoolCreatePixelBuffer(const PixelBufferPoolRef& pool,
                                            PixelBufferRef* buffer) {
  return pool->take(buffer);
}

}  // namespace quorvex
