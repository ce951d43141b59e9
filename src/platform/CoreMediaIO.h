#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/CoreMedia.h"
#include "platform/DispatchQueue.h"

namespace quorvex {

using CMIOObjectID = std::uint32_t;

/// What programs list our virtual camera as, and what we know it by.
constexpr const char* kVirtualCameraName = "Quorvex Camera";

constexpr CMIOObjectID kCMIOObjectSystemObject = 1;
constexpr OSStatus kCMIOHardwareNotRunningError = 0x73746f70;   // 'stop'
constexpr OSStatus kCMIOHardwareBadObjectError = 0x216f626a;    // '!obj'
constexpr OSStatus kCMIOHardwareUnspecifiedError = 0x77686174;  // 'what'

struct CMIOObjectPropertyAddress {
  FourCharCode selector = 0;
  FourCharCode scope = 0x676c6f62;  // 'glob'
  std::uint32_t element = 0;
  bool operator==(const CMIOObjectPropertyAddress&) const = default;
};

/// The system object: one UInt32, 1 lets the process see virtual devices too. 'yes '
constexpr CMIOObjectPropertyAddress kCMIOHardwarePropertyAllowScreenCaptureDevices{0x79657320};
/// The system object: the ids of all devices. 'dev#'
constexpr CMIOObjectPropertyAddress kCMIOHardwarePropertyDevices{0x64657623};
/// A device: its display name. 'lnam'
constexpr CMIOObjectPropertyAddress kCMIOObjectPropertyName{0x6c6e616d};
/// A device: the ids of its streams; of a virtual camera source first, then sink. 'stm#'
constexpr CMIOObjectPropertyAddress kCMIODevicePropertyStreams{0x73746d23};

/// The virtual camera devices of this machine, as objects with ids and properties. Thread-safe.
class CoreMediaIO {
 public:
  virtual ~CoreMediaIO() = default;

  virtual OSStatus CMIOObjectSetPropertyData(CMIOObjectID object,
                                             const CMIOObjectPropertyAddress& address,
                                             std::uint32_t value) = 0;

  /// Runs `listener` on `queue` whenever the property changes, for the life of this object.
  [[nodiscard]] virtual OSStatus CMIOObjectAddPropertyListenerBlock(
      CMIOObjectID object, const CMIOObjectPropertyAddress& address, DispatchQueue& queue,
      std::function<void()> listener) = 0;

  /// Bytes that the property's list takes, 4 an id; 0 when there is no such object or list.
  [[nodiscard]] virtual std::uint32_t CMIOObjectGetPropertyDataSize(
      CMIOObjectID object, const CMIOObjectPropertyAddress& address) const = 0;

  /// Reads a list of ids, as many as `data` has room for; what is not there is left as it was.
  virtual OSStatus CMIOObjectGetPropertyData(CMIOObjectID object,
                                             const CMIOObjectPropertyAddress& address,
                                             std::span<std::uint32_t> data) const = 0;
  /// Reads a text; left as it was when there is none.
  virtual OSStatus CMIOObjectGetPropertyData(CMIOObjectID object,
                                             const CMIOObjectPropertyAddress& address,
                                             std::string* data) const = 0;

  /// Hands out the queue that feeds `stream`. `queueAltered` is called on a thread of the device's
  /// own each time the device has taken a sample from it, and not after the queue and every copy of
  /// it are gone.
  [[nodiscard]] virtual OSStatus CMIOStreamCopyBufferQueue(
      CMIOObjectID stream, std::function<void()> queueAltered,
      std::shared_ptr<CMSimpleQueue>* queue) = 0;

  /// From here on the device takes samples from the stream's queue, also while nobody watches.
  [[nodiscard]] virtual OSStatus CMIODeviceStartStream(CMIOObjectID device,
                                                       CMIOObjectID stream) = 0;
  [[nodiscard]] virtual OSStatus CMIODeviceStopStream(CMIOObjectID device, CMIOObjectID stream) = 0;
};

}  // namespace quorvex
