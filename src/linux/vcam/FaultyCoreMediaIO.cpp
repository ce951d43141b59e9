#include "linux/vcam/FaultyCoreMediaIO.h"

#include <utility>

namespace quorvex {

/// The host's end of a queue. While samples are not taken they pile up here as they would there.
class FaultyCoreMediaIO::Queue : public CMSimpleQueue {
 public:
  Queue(std::shared_ptr<CMSimpleQueue> wellBehaved, std::shared_ptr<const Current> fault)
      : inner(std::move(wellBehaved)), current(std::move(fault)) {}

  [[nodiscard]] int CMSimpleQueueGetCount() const override {
    return piledUp() ? held.load() : inner->CMSimpleQueueGetCount();
  }
  [[nodiscard]] int CMSimpleQueueGetCapacity() const override {
    return inner->CMSimpleQueueGetCapacity();
  }
  [[nodiscard]] OSStatus CMSimpleQueueEnqueue(CMSampleBuffer sample) override {
    if (*current == Fault::refuse) return kCMIOHardwareUnspecifiedError;
    if (!piledUp()) {
      held = 0;
      return inner->CMSimpleQueueEnqueue(std::move(sample));
    }
    if (held >= CMSimpleQueueGetCapacity()) return kCMSimpleQueueError_QueueIsFull;
    ++held;
    return kNoError;
  }

 private:
  [[nodiscard]] bool piledUp() const {
    return *current == Fault::stall || *current == Fault::vanish;
  }

  const std::shared_ptr<CMSimpleQueue> inner;
  const std::shared_ptr<const Current> current;
  std::atomic<int> held{0};
};

void FaultyCoreMediaIO::set(Fault fault) {
  const bool listChanges = (current->exchange(fault) == Fault::vanish) != (fault == Fault::vanish);
  if (!listChanges) return;
  std::lock_guard hold(mutex);
  for (const auto& [queue, block] : listeners) queue->async(block);
}

OSStatus FaultyCoreMediaIO::CMIOObjectSetPropertyData(CMIOObjectID object,
                                                      const CMIOObjectPropertyAddress& address,
                                                      std::uint32_t value) {
  return inner.CMIOObjectSetPropertyData(object, address, value);
}

OSStatus FaultyCoreMediaIO::CMIOObjectAddPropertyListenerBlock(
    CMIOObjectID object, const CMIOObjectPropertyAddress& address, DispatchQueue& queue,
    std::function<void()> listener) {
  const OSStatus status =
      inner.CMIOObjectAddPropertyListenerBlock(object, address, queue, listener);
  std::lock_guard hold(mutex);
  if (status == kNoError) listeners.push_back({&queue, std::move(listener)});
  return status;
}

std::uint32_t FaultyCoreMediaIO::CMIOObjectGetPropertyDataSize(
    CMIOObjectID object, const CMIOObjectPropertyAddress& address) const {
  return gone() ? 0 : inner.CMIOObjectGetPropertyDataSize(object, address);
}

OSStatus FaultyCoreMediaIO::CMIOObjectGetPropertyData(CMIOObjectID object,
                                                      const CMIOObjectPropertyAddress& address,
                                                      std::span<std::uint32_t> data) const {
  return gone() ? kCMIOHardwareBadObjectError
                : inner.CMIOObjectGetPropertyData(object, address, data);
}

OSStatus FaultyCoreMediaIO::CMIOObjectGetPropertyData(CMIOObjectID object,
                                                      const CMIOObjectPropertyAddress& address,
                                                      std::string* data) const {
  return gone() ? kCMIOHardwareBadObjectError
                : inner.CMIOObjectGetPropertyData(object, address, data);
}

OSStatus FaultyCoreMediaIO::CMIOStreamCopyBufferQueue(CMIOObjectID stream,
                                                      std::function<void()> queueAltered,
                                                      std::shared_ptr<CMSimpleQueue>* queue) {
  if (gone()) return kCMIOHardwareBadObjectError;
  std::shared_ptr<CMSimpleQueue> handedOut;
  const OSStatus status =
      inner.CMIOStreamCopyBufferQueue(stream, std::move(queueAltered), &handedOut);
  if (status == kNoError) *queue = std::make_shared<Queue>(std::move(handedOut), current);
  return status;
}

OSStatus FaultyCoreMediaIO::CMIODeviceStartStream(CMIOObjectID device, CMIOObjectID stream) {
  return gone() ? kCMIOHardwareBadObjectError : inner.CMIODeviceStartStream(device, stream);
}

OSStatus FaultyCoreMediaIO::CMIODeviceStopStream(CMIOObjectID device, CMIOObjectID stream) {
  return gone() ? kCMIOHardwareBadObjectError : inner.CMIODeviceStopStream(device, stream);
}

}  // namespace quorvex
