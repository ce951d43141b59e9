#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

#include "linux/vcam/SampleQueue.h"
#include "linux/vcam/VirtualCameraOutput.h"
#include "platform/CoreMediaIO.h"

namespace quorvex {

/// Shows one device, "Quorvex Camera", while at least one of its outputs is available, and feeds
/// what the host writes into the device's sink stream to all of them. While there is only one that
/// another program feeds, the device has a source stream and no sink. Thread-safe; a stream must
/// not be started or stopped from within its own queue-altered callback.
class VirtualCameraDevices : public CoreMediaIO {
 public:
  using Log = std::function<void(std::string_view)>;
  using Tap = std::function<void(const CMSampleBuffer&)>;

  /// `log` gets one line each time an output comes or goes and when wrong pictures begin to arrive;
  /// any thread. `tap` is shown every sample taken, on the consumer thread.
  VirtualCameraDevices(std::vector<std::shared_ptr<VirtualCameraOutput>> cameraOutputs, Log logLine,
                       Tap sampleTap = {});
  ~VirtualCameraDevices() override;

  /// Samples taken that were no 1280x720 420v picture and therefore went to no output.
  [[nodiscard]] std::uint64_t refusedSamples() const { return refused; }

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

  /// A new queue each time; the device goes over to it when the stream is started next.
  [[nodiscard]] OSStatus CMIOStreamCopyBufferQueue(CMIOObjectID stream,
                                                   std::function<void()> queueAltered,
                                                   std::shared_ptr<CMSimpleQueue>* queue) override;
  /// Fails when the device is not there (kCMIOHardwareBadObjectError) and when no queue was ever
  /// handed out or no thread can be had (kCMIOHardwareUnspecifiedError).
  [[nodiscard]] OSStatus CMIODeviceStartStream(CMIOObjectID device, CMIOObjectID stream) override;
  /// Returns once the consumer thread has ended.
  [[nodiscard]] OSStatus CMIODeviceStopStream(CMIOObjectID device, CMIOObjectID stream) override;

 private:
  /// The device and its streams as they are known from one appearance to the next disappearance.
  struct Objects {
    CMIOObjectID device;
    CMIOObjectID source;
    std::optional<CMIOObjectID> sink;
  };
  struct Listener {
    DispatchQueue* queue;
    std::function<void()> block;
  };
  struct Feed {
    std::shared_ptr<SampleQueue> queue;
    std::weak_ptr<CMSimpleQueue> handedOut;  ///< gone when the host holds the queue no longer
    std::function<void()> queueAltered;
  };

  void reviewOutputs();
  void publish(bool withSource, bool withSink);
  [[nodiscard]] std::vector<CMIOObjectID> idsOf(CMIOObjectID object,
                                                const CMIOObjectPropertyAddress& address) const;
  [[nodiscard]] bool isSink(CMIOObjectID device, CMIOObjectID stream) const;
  void drain(const std::stop_token& stop, const Feed& from);
  void deliver(const CMSampleBuffer& sample);

  const std::vector<std::shared_ptr<VirtualCameraOutput>> outputs;
  const Log log;
  const Tap tap;
  std::atomic<std::uint64_t> refused{0};

  /// Lets one start or stop run at a time. Taken before `mutex`; the consumer thread takes neither,
  /// so that it can be waited for.
  std::mutex startingOrStopping;
  mutable std::mutex mutex;
  std::vector<bool> wereAvailable;  // protected by mutex, as all below
  std::optional<Objects> published;
  CMIOObjectID nextObject = kCMIOObjectSystemObject + 1;
  std::vector<Listener> listeners;
  std::optional<Feed> feed;
  std::jthread consumer;
};

}  // namespace quorvex
