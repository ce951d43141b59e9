#include "sink/FrameProducer.h"

#include <cmath>
#include <string>
#include <vector>

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr int kSinkWidth = 1280;
constexpr int kSinkHeight = 720;
constexpr const char* kProducerCategory = "frame-producer";
constexpr int kMissingAfterAttempts = 8;
constexpr Seconds kRetryInterval{0.5};
constexpr Seconds kWatchdogFirstTick{2.0};
constexpr Seconds kWatchdogInterval{1.0};
constexpr std::uint64_t kAttemptsPerStatsLine = 60;
constexpr std::int32_t kNanosecondScale = 1'000'000'000;

}  // namespace

FrameProducer::FrameProducer(Dependencies dependencies)
    : needs(std::move(dependencies)),
      watchdog([this] { reconnectSink(); }, [this] { notify(&FrameProducer::onSinkWedged); },
               [this] { notify(&FrameProducer::onSinkRecovered); }) {}

void FrameProducer::start() {
  if (started) return;
  started = true;
  needs.cmio.CMIOObjectSetPropertyData(kCMIOObjectSystemObject,
                                       kCMIOHardwarePropertyAllowScreenCaptureDevices, 1);
  needs.queue->async([self = shared_from_this()] {
    self->installDeviceListListener();
    self->connectToSink();
    self->startSinkWatchdog();
  });
}

void FrameProducer::installDeviceListListener() {
  if (deviceListListenerInstalled) return;
  const OSStatus status = needs.cmio.CMIOObjectAddPropertyListenerBlock(
      kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices, needs.mainQueue,
      weakly(this, [](FrameProducer& self) {
        self.needs.queue->async(weakly(&self, [](FrameProducer& producer) {
          hostLog("device-list changed; re-attempting sink connect");
          producer.connectToSink();
        }));
      }));
  hostLog("installDeviceListListener status=" + std::to_string(status));
  deviceListListenerInstalled = status == kNoError;
}

void FrameProducer::connectToSink() {
  if (sinkConnected) return;
  hostLog("connectToSink: attempting…");
  const auto device = findVirtualDevice();
  const auto stream = device ? findSinkStream(*device) : std::nullopt;
  if (!stream) return retryOrReportMissing();
  virtualDeviceID = *device;
  sinkStreamID = *stream;
  hostLog("connectToSink: device=" + std::to_string(virtualDeviceID) +
          " sink=" + std::to_string(sinkStreamID) + "; initializing queue");
  openSinkQueue();
}

void FrameProducer::retryOrReportMissing() {
  ++connectAttempts;
  if (connectAttempts >= kMissingAfterAttempts && !deviceMissingFired) {
    deviceMissingFired = true;
    hostLog("connectToSink: device absent after " + std::to_string(connectAttempts) +
            " tries → activation needed");
    return notify(&FrameProducer::onDeviceMissing);
  }
  hostLog("connectToSink: device not visible yet; retry 0.5s (attempt " +
          std::to_string(connectAttempts) + ")");
  pollTimer = needs.queue->after(kRetryInterval,
                                 weakly(this, [](FrameProducer& self) { self.connectToSink(); }));
}

std::optional<CMIOObjectID> FrameProducer::findVirtualDevice() const {
  std::vector<CMIOObjectID> devices(needs.cmio.CMIOObjectGetPropertyDataSize(
                                        kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices) /
                                    sizeof(CMIOObjectID));
  needs.cmio.CMIOObjectGetPropertyData(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices,
                                       devices);
  hostLog("CMIO devices visible: " + std::to_string(devices.size()));
  for (const CMIOObjectID device : devices) {
    std::string name;
    needs.cmio.CMIOObjectGetPropertyData(device, kCMIOObjectPropertyName, &name);
    if (name == kVirtualCameraName) return device;
  }
  hostLog("virtual camera Quorvex Camera NOT found among " + std::to_string(devices.size()) +
          " devices");
  return std::nullopt;
}

std::optional<CMIOObjectID> FrameProducer::findSinkStream(CMIOObjectID device) const {
  std::vector<CMIOObjectID> streams(
      needs.cmio.CMIOObjectGetPropertyDataSize(device, kCMIODevicePropertyStreams) /
      sizeof(CMIOObjectID));
  if (streams.size() < 2) {
    needs.systemLog.write(
        SystemLog::Level::error, kProducerCategory,
        "device has " + std::to_string(streams.size()) + " streams; need at least 2");
    return std::nullopt;
  }
  needs.cmio.CMIOObjectGetPropertyData(device, kCMIODevicePropertyStreams, streams);
  return streams[1];
}

void FrameProducer::openSinkQueue() {
  std::shared_ptr<CMSimpleQueue> opened;
  OSStatus status = needs.cmio.CMIOStreamCopyBufferQueue(sinkStreamID,
                                                         weakly(this,
                                                                [](FrameProducer& self) {
                                                                  self.readyToEnqueue = true;
                                                                  self.queueAltered.fetch_add(
                                                                      1, std::memory_order_relaxed);
                                                                }),
                                                         &opened);
  hostLog("CMIOStreamCopyBufferQueue status=" + std::to_string(status));
  if (status != kNoError) return;
  sinkQueue = std::move(opened);
  status = needs.cmio.CMIODeviceStartStream(virtualDeviceID, sinkStreamID);
  hostLog("CMIODeviceStartStream status=" + std::to_string(status));
  if (status != kNoError) return;
  readyToEnqueue = true;
  sinkConnected = true;
  watchdog.streamStarted(needs.clock.now());
  hostLog("sink connected; ready for swapped frames");
  notify(&FrameProducer::onSinkReady);
}

void FrameProducer::notify(std::function<void()> FrameProducer::*callback) {
  needs.mainQueue.async(weakly(this, [callback](FrameProducer& self) {
    if (self.*callback) (self.*callback)();
  }));
}

void FrameProducer::push(PixelBufferRef pixelBuffer) {
  needs.queue->async(weakly(this, [pixelBuffer = std::move(pixelBuffer)](FrameProducer& self) {
    self.pushOnSinkQueue(pixelBuffer);
  }));
}

void FrameProducer::pushOnSinkQueue(const PixelBufferRef& pixelBuffer) {
  lastEnqueueAttemptTS = needs.clock.now();
  if (pixelBuffer) {
    frameWidth = pixelBuffer->width();
    frameHeight = pixelBuffer->height();
  }
  if (!sinkQueue || !readyToEnqueue)
    ++dropNotReady;
  else if (sinkQueue->CMSimpleQueueGetCount() >= sinkQueue->CMSimpleQueueGetCapacity())
    ++dropQueueFull;
  else
    deliver(pixelBuffer, lastEnqueueAttemptTS);
  logPushStats();
}

void FrameProducer::deliver(const PixelBufferRef& pixelBuffer, double attemptTime) {
  auto sample = makeSampleBuffer(scaleToSink(pixelBuffer));
  if (!sample) {
    ++dropMakeFail;
    return;
  }
  const OSStatus status = sinkQueue->CMSimpleQueueEnqueue(std::move(*sample));
  if (status != kNoError) {
    lastEnqErr = status;
    ++dropEnqErr;
    return;
  }
  ++enqueued;
  lastEnqueueSuccessTS = attemptTime;
}

PixelBufferRef FrameProducer::scaleToSink(const PixelBufferRef& pixelBuffer) {
  if (!pixelBuffer || (pixelBuffer->width() == kSinkWidth && pixelBuffer->height() == kSinkHeight))
    return pixelBuffer;
  if (!scalePool) {
    lastScaleErr =
        CVPixelBufferPoolCreate({.width = kSinkWidth, .height = kSinkHeight}, &scalePool);
    if (!scalePool) return pixelBuffer;
  }
  PixelBufferRef fitted;
  const OSStatus status = CVPixelBufferPoolCreatePixelBuffer(scalePool, &fitted);
  if (status != kNoError) {
    lastScaleErr = status;
    return pixelBuffer;
  }
  fitter.fit(*pixelBuffer, flipped, *fitted);
  return fitted;
}

std::optional<CMSampleBuffer> FrameProducer::makeSampleBuffer(const PixelBufferRef& pixelBuffer) {
  if (!fmtDesc || !CMVideoFormatDescriptionMatchesImageBuffer(*fmtDesc, pixelBuffer)) {
    fmtDesc.reset();
    const OSStatus status = CMVideoFormatDescriptionCreateForImageBuffer(pixelBuffer, &fmtDesc);
    if (status != kNoError) lastSbufErr = status;
  }
  if (!fmtDesc) return std::nullopt;
  const auto hostTime = static_cast<std::int64_t>(std::llround(needs.clock.now() * 1e9));
  const CMSampleTimingInfo timing{.duration = {1, 30},
                                  .presentationTimeStamp = {hostTime, kNanosecondScale},
                                  .decodeTimeStamp = kCMTimeInvalid};
  std::optional<CMSampleBuffer> sample;
  const OSStatus status =
      CMSampleBufferCreateForImageBuffer(pixelBuffer, *fmtDesc, timing, &sample);
  if (status != kNoError) lastSbufErr = status;
  return sample;
}

SinkStatistics FrameProducer::statistics() const {
  return {.enqueued = enqueued,
          .dropNotReady = dropNotReady,
          .dropQueueFull = dropQueueFull,
          .dropMakeFail = dropMakeFail,
          .dropEnqErr = dropEnqErr,
          .queueAltered = queueAltered,
          .frameWidth = frameWidth,
          .frameHeight = frameHeight};
}

void FrameProducer::logPushStats() const {
  const SinkStatistics counts = statistics();
  if ((counts.enqueued + counts.errors()) % kAttemptsPerStatsLine != 0) return;
  const int count = sinkQueue ? sinkQueue->CMSimpleQueueGetCount() : -1;
  const int capacity = sinkQueue ? sinkQueue->CMSimpleQueueGetCapacity() : -1;
  const auto text = [](auto number) { return std::to_string(number); };
  hostLog("sink push: enqueued=" + text(counts.enqueued) + " drops/errs=" + text(counts.errors()) +
          " drained=" + text(counts.queueAltered) + " q=" + text(count) + "/" + text(capacity) +
          " [notReady=" + text(counts.dropNotReady) + " full=" + text(counts.dropQueueFull) +
          " makeFail=" + text(counts.dropMakeFail) + " enqErr=" + text(counts.dropEnqErr) +
          " lastErr=" + text(lastEnqErr) + " scaleErr=" + text(lastScaleErr) +
          " sbufErr=" + text(lastSbufErr) + "]");
}

void FrameProducer::startSinkWatchdog() {
  if (sinkWatchdog) return;
  sinkWatchdog =
      needs.queue->every(kWatchdogFirstTick, kWatchdogInterval,
                         weakly(this, [](FrameProducer& self) { self.sinkWatchdogTick(); }));
}

void FrameProducer::sinkWatchdogTick() {
  watchdog.tick({.connected = sinkConnected,
                 .lastAttempt = lastEnqueueAttemptTS,
                 .lastSuccess = lastEnqueueSuccessTS,
                 .enqueued = enqueued},
                needs.clock.now());
}

void FrameProducer::reconnectSink() {
  if (virtualDeviceID != 0 && sinkStreamID != 0) {
    const OSStatus status = needs.cmio.CMIODeviceStopStream(virtualDeviceID, sinkStreamID);
    hostLog("reconnectSink: CMIODeviceStopStream status=" + std::to_string(status));
  }
  readyToEnqueue = false;
  sinkQueue.reset();
  sinkConnected = false;
  connectAttempts = 0;
  deviceMissingFired = false;
  connectToSink();
}

}  // namespace quorvex
