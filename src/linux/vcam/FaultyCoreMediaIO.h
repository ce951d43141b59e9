#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/CoreMediaIO.h"

namespace quorvex {

/// Another's virtual camera devices, which misbehave as told: for trying out what the host makes of
/// a camera that fails it. Thread-safe.
class FaultyCoreMediaIO : public CoreMediaIO {
 public:
  enum class Fault {
    none,
    refuse,  ///< every sample is refused
    stall,   ///< no sample is taken any more, so that the queue fills
    vanish,  ///< there is no device, and what was handed out of it stalls
  };

  /// `wellBehaved` outlives it.
  explicit FaultyCoreMediaIO(CoreMediaIO& wellBehaved) : inner(wellBehaved) {}

  void set(Fault fault);

  OSStatus CMIOObjectSetPropertyData(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                                     std::uint32_t value) override;
  [[nodiscard]] OSStatus CMIOObjectAddPropertyListenerBlock(
      CMIOObjectID object, const CMIOObjectPropertyAddress& address, DispatchQueue& queue,
      std::function<void()> listener) override;
  [[nodiscard]] std::uint32_t CMIOObjectGetPropertyDataSize(
      CMIOObjectID object, const CMIOObjectPropertyAddress& address) const override;
  OSStatus CMIOObjectGetPropertyData(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                                     std::span<std::uint32_t> data) const override;
  OSStatus CMIOObjectGetPropertyData(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                                     std::string* data) const override;
  [[nodiscard]] OSStatus CMIOStreamCopyBufferQueue(CMIOObjectID stream,
                                                   std::function<void()> queueAltered,
                                                   std::shared_ptr<CMSimpleQueue>* queue) override;
  [[nodiscard]] OSStatus CMIODeviceStartStream(CMIOObjectID device, CMIOObjectID stream) override;
  [[nodiscard]] OSStatus CMIODeviceStopStream(CMIOObjectID device, CMIOObjectID stream) override;

 private:
  using Current = std::atomic<Fault>;
  class Queue;
  struct Listener {
    DispatchQueue* queue;
    std::function<void()> block;
  };

  [[nodiscard]] bool gone() const { return *current == Fault::vanish; }

  CoreMediaIO& inner;
  const std::shared_ptr<Current> current = std::make_shared<Current>(Fault::none);
  std::mutex mutex;
  std::vector<Listener> listeners;  // protected by mutex
};

}  // namespace quorvex
