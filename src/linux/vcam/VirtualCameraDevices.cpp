#include "linux/vcam/VirtualCameraDevices.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace quorvex {
namespace {

constexpr CMVideoFormatDescription kDeliverable{kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                                                kVirtualCameraWidth, kVirtualCameraHeight};

std::string description(const PixelBufferRef& image) {
  if (!image) return "A sample without a picture";
  std::string code;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const char letter = static_cast<char>(image->pixelFormat() >> shift & 0xff);
    code += letter >= ' ' && letter <= '~' ? letter : '?';
  }
  return "A picture of " + std::to_string(image->width()) + "x" + std::to_string(image->height()) +
         " " + code;
}

}  // namespace

VirtualCameraDevices::VirtualCameraDevices(
    std::vector<std::shared_ptr<VirtualCameraOutput>> cameraOutputs, Log logLine, Tap sampleTap)
    : outputs(std::move(cameraOutputs)),
      log(std::move(logLine)),
      tap(std::move(sampleTap)),
      wereAvailable(outputs.size(), false) {
  for (const auto& output : outputs) output->onAvailabilityChanged([this] { reviewOutputs(); });
  reviewOutputs();
}

VirtualCameraDevices::~VirtualCameraDevices() {
  for (const auto& output : outputs) output->onAvailabilityChanged({});
  consumer = {};
}

void VirtualCameraDevices::reviewOutputs() {
  std::vector<Listener> toTell;
  std::vector<std::string> lines;
  {
    std::lock_guard hold(mutex);
    bool writable = false;
    bool visible = false;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      const auto obstacle = outputs[i]->whyUnavailable();
      if (outputs[i]->suffices()) {
        writable = writable || !obstacle;
        visible = visible || !obstacle || outputs[i]->fedByAnother();
      }
      if (wereAvailable[i] == !obstacle) continue;
      wereAvailable[i] = !obstacle;
      lines.push_back("virtual camera: " + outputs[i]->name() +
                      (obstacle ? " is gone: " + *obstacle : " is available"));
    }
    const bool wasWritable = published && published->sink;
    if (visible != published.has_value() || writable != wasWritable) {
      publish(visible, writable);
      toTell = listeners;
    }
  }
  for (const auto& line : lines) log(line);
  for (auto& [queue, block] : toTell) queue->async(std::move(block));
}

/// Replaces the device by another one, or by none. Holds `mutex`.
void VirtualCameraDevices::publish(bool withSource, bool withSink) {
  published.reset();
  feed.reset();
  consumer.request_stop();
  if (!withSource) return;
  published = Objects{nextObject, nextObject + 1, {}};
  if (withSink) published->sink = nextObject + 2;
  nextObject += 3;
}

OSStatus VirtualCameraDevices::CMIOObjectSetPropertyData(CMIOObjectID object,
                                                         const CMIOObjectPropertyAddress& address,
                                                         std::uint32_t) {
  // Virtual devices are always visible here, so there is nothing to remember.
  return object == kCMIOObjectSystemObject &&
                 address == kCMIOHardwarePropertyAllowScreenCaptureDevices
             ? kNoError
             : kCMIOHardwareBadObjectError;
}

OSStatus VirtualCameraDevices::CMIOObjectAddPropertyListenerBlock(
    CMIOObjectID object, const CMIOObjectPropertyAddress& address, DispatchQueue& queue,
    std::function<void()> listener) {
  if (object != kCMIOObjectSystemObject || !(address == kCMIOHardwarePropertyDevices))
    return kCMIOHardwareBadObjectError;
  std::lock_guard hold(mutex);
  listeners.push_back({&queue, std::move(listener)});
  return kNoError;
}

std::vector<CMIOObjectID> VirtualCameraDevices::idsOf(
    CMIOObjectID object, const CMIOObjectPropertyAddress& address) const {
  std::lock_guard hold(mutex);
  if (!published) return {};
  if (object == kCMIOObjectSystemObject && address == kCMIOHardwarePropertyDevices)
    return {published->device};
  if (object == published->device && address == kCMIODevicePropertyStreams)
    return published->sink ? std::vector{published->source, *published->sink}
                           : std::vector{published->source};
  return {};
}

std::uint32_t VirtualCameraDevices::CMIOObjectGetPropertyDataSize(
    CMIOObjectID object, const CMIOObjectPropertyAddress& address) const {
  return static_cast<std::uint32_t>(idsOf(object, address).size() * sizeof(CMIOObjectID));
}

OSStatus VirtualCameraDevices::CMIOObjectGetPropertyData(CMIOObjectID object,
                                                         const CMIOObjectPropertyAddress& address,
                                                         std::span<std::uint32_t> data) const {
  const auto ids = idsOf(object, address);
  if (ids.empty() && object != kCMIOObjectSystemObject) return kCMIOHardwareBadObjectError;
  std::copy_n(ids.begin(), std::min(ids.size(), data.size()), data.begin());
  return kNoError;
}

OSStatus VirtualCameraDevices::CMIOObjectGetPropertyData(CMIOObjectID object,
                                                         const CMIOObjectPropertyAddress& address,
                                                         std::string* data) const {
  std::lock_guard hold(mutex);
  if (!published || object != published->device || !(address == kCMIOObjectPropertyName))
    return kCMIOHardwareBadObjectError;
  *data = kVirtualCameraName;
  return kNoError;
}

bool VirtualCameraDevices::isSink(CMIOObjectID device, CMIOObjectID stream) const {
  return published && published->device == device && published->sink == stream;
}

OSStatus VirtualCameraDevices::CMIOStreamCopyBufferQueue(CMIOObjectID stream,
                                                         std::function<void()> queueAltered,
                                                         std::shared_ptr<CMSimpleQueue>* queue) {
  std::lock_guard hold(mutex);
  if (!published || published->sink != stream) return kCMIOHardwareBadObjectError;
  // The host's copies are counted apart from ours, which shows when the last of them is gone.
  auto made = std::make_shared<SampleQueue>();
  std::shared_ptr<CMSimpleQueue> handedOut(made.get(), [made](CMSimpleQueue*) {});
  feed = Feed{made, handedOut, std::move(queueAltered)};
  *queue = std::move(handedOut);
  return kNoError;
}

OSStatus VirtualCameraDevices::CMIODeviceStartStream(CMIOObjectID device, CMIOObjectID stream) {
  std::lock_guard oneAtATime(startingOrStopping);
  std::jthread former;
  {
    std::lock_guard hold(mutex);
    if (!isSink(device, stream)) return kCMIOHardwareBadObjectError;
    if (!feed) return kCMIOHardwareUnspecifiedError;
    former = std::move(consumer);
  }
  former = {};
  std::lock_guard hold(mutex);
  if (!isSink(device, stream)) return kCMIOHardwareBadObjectError;
  try {
    consumer =
        std::jthread([this, from = *feed](const std::stop_token& stop) { drain(stop, from); });
  } catch (const std::system_error&) {
    return kCMIOHardwareUnspecifiedError;
  }
  return kNoError;
}

OSStatus VirtualCameraDevices::CMIODeviceStopStream(CMIOObjectID device, CMIOObjectID stream) {
  std::lock_guard oneAtATime(startingOrStopping);
  std::jthread ending;
  {
    std::lock_guard hold(mutex);
    if (!isSink(device, stream)) return kCMIOHardwareBadObjectError;
    ending = std::move(consumer);
  }
  // One that was told to stop belonged to an earlier appearance of the device.
  const bool running = ending.joinable() && !ending.get_stop_token().stop_requested();
  ending = {};
  return running ? kNoError : kCMIOHardwareNotRunningError;
}

void VirtualCameraDevices::drain(const std::stop_token& stop, const Feed& from) {
  pthread_setname_np(pthread_self(), "qxc-vcam");
  bool refusing = false;
  while (const auto sample = from.queue->take(stop)) {
    if (const auto held = from.handedOut.lock(); held && from.queueAltered) from.queueAltered();
    if (tap) tap(*sample);
    const auto& image = sample->imageBuffer;
    if (CMVideoFormatDescriptionMatchesImageBuffer(kDeliverable, image)) {
      refusing = false;
      deliver(*sample);
      continue;
    }
    ++refused;
    if (!std::exchange(refusing, true))
      log("virtual camera: " + description(image) +
          " cannot be shown; the camera takes 1280x720 420v only");
  }
}

void VirtualCameraDevices::deliver(const CMSampleBuffer& sample) {
  for (const auto& output : outputs)
    if (output->available()) output->deliver(sample);
}

}  // namespace quorvex
