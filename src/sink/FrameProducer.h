#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Clock.h"
#include "platform/CoreMediaIO.h"
#include "platform/DispatchQueue.h"
#include "platform/PixelBuffer.h"
#include "platform/SystemLog.h"
#include "sink/FrameFitter.h"
#include "sink/SinkWatchdog.h"

namespace quorvex {

/// What became of the frames since the start. Every attempt is in exactly one of the counts.
struct SinkStatistics {
  std::uint64_t enqueued = 0;
  std::uint64_t dropNotReady = 0;
  std::uint64_t dropQueueFull = 0;
  std::uint64_t dropMakeFail = 0;
  std::uint64_t dropEnqErr = 0;
  std::uint64_t queueAltered = 0;  ///< times the device took a frame
  int frameWidth = 0;              ///< of the last frame pushed, before it was fitted
  int frameHeight = 0;

  [[nodiscard]] std::uint64_t errors() const {
    return dropNotReady + dropQueueFull + dropMakeFail + dropEnqErr;
  }
};

/// The host's writer into the virtual camera: finds the device by its name, opens its sink stream,
/// fits each frame into 1280x720 and enqueues it, and rebuilds a sink that has stopped taking
/// frames. A frame never waits: what the device has no room for is dropped. All of it runs on one
/// serial queue of its own; its callbacks come on the main queue.
class FrameProducer : public std::enable_shared_from_this<FrameProducer> {
 public:
  struct Dependencies {
    CoreMediaIO& cmio;
    DispatchQueue& mainQueue;
    std::shared_ptr<DispatchQueue> queue;  ///< serial, the producer's own
    const Clock& clock;
    SystemLog& systemLog;
  };

  explicit FrameProducer(Dependencies dependencies);

  // Set before `start`.
  std::function<void()> onSinkReady;      ///< each time the sink stream is started
  std::function<void()> onDeviceMissing;  ///< once the device has stayed invisible for 8 tries
  std::function<void()> onSinkWedged;     ///< rebuilding the sink has not helped
  std::function<void()> onSinkRecovered;  ///< the wedged sink delivers again

  /// Begins to look for the device. Main thread; a second call does nothing.
  void start();

  /// Hands over one frame and returns at once. Any thread; allocates nothing.
  void push(PixelBufferRef pixelBuffer);

  /// Mirrors the frames that are scaled. Any thread.
  std::atomic<bool> flipped{false};

  /// Any thread.
  [[nodiscard]] SinkStatistics statistics() const;

 private:
  using Counter = std::atomic<std::uint64_t>;

  void installDeviceListListener();
  void connectToSink();
  void retryOrReportMissing();
  [[nodiscard]] std::optional<CMIOObjectID> findVirtualDevice() const;
  [[nodiscard]] std::optional<CMIOObjectID> findSinkStream(CMIOObjectID device) const;
  void openSinkQueue();
  void notify(std::function<void()> FrameProducer::*callback);

  void pushOnSinkQueue(const PixelBufferRef& pixelBuffer);
  void deliver(const PixelBufferRef& pixelBuffer, double attemptTime);
  [[nodiscard]] PixelBufferRef scaleToSink(const PixelBufferRef& pixelBuffer);
  [[nodiscard]] std::optional<CMSampleBuffer> makeSampleBuffer(const PixelBufferRef& pixelBuffer);
  void logPushStats() const;

  void startSinkWatchdog();
  void sinkWatchdogTick();
  void reconnectSink();

  const Dependencies needs;
  bool started = false;  // main thread

  // The sink queue's.
  CMIOObjectID virtualDeviceID = 0;
  CMIOObjectID sinkStreamID = 0;
  std::shared_ptr<CMSimpleQueue> sinkQueue;
  bool sinkConnected = false;
  bool deviceListListenerInstalled = false;
  std::unique_ptr<Timer> pollTimer;
  int connectAttempts = 0;
  bool deviceMissingFired = false;
  double lastEnqueueAttemptTS = 0;
  double lastEnqueueSuccessTS = 0;
  OSStatus lastEnqErr = kNoError;
  OSStatus lastScaleErr = kNoError;
  OSStatus lastSbufErr = kNoError;
  std::optional<CMVideoFormatDescription> fmtDesc;
  PixelBufferPoolRef scalePool;
  FrameFitter fitter;
  SinkWatchdog watchdog;
  std::unique_ptr<Timer> sinkWatchdog;

  // Written on the sink queue, and by the device's thread where it says so; read by anybody.
  std::atomic<bool> readyToEnqueue{false};  // also the device's
  Counter queueAltered{0};                  // the device's
  Counter enqueued{0};
  Counter dropNotReady{0};
  Counter dropQueueFull{0};
  Counter dropMakeFail{0};
  Counter dropEnqErr{0};
  std::atomic<int> frameWidth{0};
  std::atomic<int> frameHeight{0};
};

}  // namespace quorvex
