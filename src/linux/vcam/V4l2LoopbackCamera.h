#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>

#include "linux/vcam/LatestPicture.h"
#include "linux/vcam/NodeWatch.h"
#include "linux/vcam/V4l2LoopbackDevice.h"
#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {

/// The video device "Quorvex Camera" of v4l2loopback, fed from its appearance to its end. Readers
/// are given each new picture, and the last one again four times in each second that brings none:
/// some begin anew after a second without.
class V4l2LoopbackCamera : public VirtualCameraOutput {
 public:
  /// Feeds the device in `format` (nv12 or yuy2), unless a program holds on to another. Returns
  /// once it is known whether there is a device. `log` takes lines for people; any thread.
  V4l2LoopbackCamera(RawVideoFormat format, std::function<void(std::string_view)> logLine);
  ~V4l2LoopbackCamera() override;

  [[nodiscard]] std::string name() const override { return "v4l2loopback"; }
  /// True also where the driver does not tell (before 0.14).
  [[nodiscard]] bool watched() const override { return hasReaders; }
  void deliver(const CMSampleBuffer& sample) override;

  /// Lets go of the device, so that its driver can be unloaded; feeds it again when it has come
  /// anew, or ten seconds later. Returns when the device is closed.
  void release();

 private:
  using Time = std::chrono::steady_clock::time_point;

  void feed(const std::stop_token& stop);
  void seek();
  void waitForWork();
  void takeChanges();
  void letGo();
  void show();
  void lose(std::string why, bool isFedByAnother);
  void wake() const;

  const RawVideoFormat wanted;
  const std::function<void(std::string_view)> log;
  const UniqueFd wakeUp;  ///< an eventfd
  LatestPicture latest;
  std::atomic<bool> delivered{false};  ///< `latest` holds a picture that was not shown
  std::atomic<bool> hasReaders{false};
  std::atomic<bool> releasing{false};

  // The feeder's own; the constructor's before it runs.
  NodeWatch nodes{"/dev", "video"};
  std::unique_ptr<V4l2LoopbackDevice> device;
  std::string path;  ///< of the device
  Time shown{};
  Time seekAgain{};
  bool released = false;
  std::jthread feeder;
};

}  // namespace quorvex
