#pragma once

#include <string>
#include <vector>

#include "platform/CoreMediaIO.h"

namespace quorvex {

class FakeSampleQueue : public CMSimpleQueue {
 public:
  [[nodiscard]] int CMSimpleQueueGetCount() const override {
    return static_cast<int>(samples.size());
  }
  [[nodiscard]] int CMSimpleQueueGetCapacity() const override { return 4; }
  [[nodiscard]] OSStatus CMSimpleQueueEnqueue(CMSampleBuffer sample) override {
    if (status == kNoError) samples.push_back(std::move(sample));
    return status;
  }
  std::vector<CMSampleBuffer> samples;
  OSStatus status = kNoError;
};

/// Devices by name, each with as many streams as a test gives it.
class FakeCmio : public CoreMediaIO {
 public:
  struct Device {
    CMIOObjectID id;
    std::string name;
    std::vector<CMIOObjectID> streams;
  };

  OSStatus CMIOObjectSetPropertyData(CMIOObjectID, const CMIOObjectPropertyAddress& address,
                                     std::uint32_t value) override {
    allowed = address == kCMIOHardwarePropertyAllowScreenCaptureDevices && value == 1;
    return kNoError;
  }
  OSStatus CMIOObjectAddPropertyListenerBlock(CMIOObjectID, const CMIOObjectPropertyAddress&,
                                              DispatchQueue& target,
                                              std::function<void()> block) override {
    listener = [&target, block] { target.async(block); };
    return kNoError;
  }
  [[nodiscard]] std::uint32_t CMIOObjectGetPropertyDataSize(
      CMIOObjectID object, const CMIOObjectPropertyAddress& address) const override {
    return static_cast<std::uint32_t>(4 * list(object, address).size());
  }
  OSStatus CMIOObjectGetPropertyData(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                                     std::span<std::uint32_t> data) const override {
    const auto ids = list(object, address);
    std::copy(ids.begin(), ids.end(), data.begin());
    return kNoError;
  }
  OSStatus CMIOObjectGetPropertyData(CMIOObjectID object, const CMIOObjectPropertyAddress&,
                                     std::string* data) const override {
    for (const auto& device : devices)
      if (device.id == object) *data = device.name;
    return kNoError;
  }
  OSStatus CMIOStreamCopyBufferQueue(CMIOObjectID stream, std::function<void()> altered,
                                     std::shared_ptr<CMSimpleQueue>* out) override {
    openedStream = stream;
    queueAltered = std::move(altered);
    queue = std::make_shared<FakeSampleQueue>();
    *out = queue;
    return kNoError;
  }
  OSStatus CMIODeviceStartStream(CMIOObjectID, CMIOObjectID) override { return kNoError; }
  OSStatus CMIODeviceStopStream(CMIOObjectID, CMIOObjectID) override { return kNoError; }

  std::vector<Device> devices;
  std::function<void()> listener;
  std::function<void()> queueAltered;
  std::shared_ptr<FakeSampleQueue> queue;
  CMIOObjectID openedStream = 0;
  bool allowed = false;

 private:
  [[nodiscard]] std::vector<CMIOObjectID> list(CMIOObjectID object,
                                               const CMIOObjectPropertyAddress& address) const {
    std::vector<CMIOObjectID> ids;
    for (const auto& device : devices) {
      if (object == kCMIOObjectSystemObject && address == kCMIOHardwarePropertyDevices)
        ids.push_back(device.id);
      else if (object == device.id && address == kCMIODevicePropertyStreams)
        ids = device.streams;
    }
    return ids;
  }
};

}  // namespace quorvex
