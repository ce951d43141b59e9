#pragma once

#include <future>
#include <mutex>
#include <numeric>
#include <string>
#include <vector>

#include "linux/cameras/FrameStamp.h"
#include "platform/Camera.h"
#include "support/Eventually.h"

namespace quorvex {

struct CaughtFrame {
  int width = 0, height = 0;
  std::int64_t captureTime = 0;
  int middleLuma = 0;  ///< the middle row's mean
  std::uint8_t lastLuma = 0, lastV = 0;
  std::optional<std::uint32_t> number;
};

/// Keeps what a camera hands over and says; waits for it with a deadline.
class CaughtFrames {
 public:
  /// Starts a camera and waits; what the start was completed with, "" for success.
  std::string start(CameraProvider& camera, const CaptureDevice& device,
                    const CaptureFormat& format = {}, int fps = 30) {
    const auto completed = std::make_shared<std::promise<std::string>>();
    camera.startCapture(
        device, format, fps, [this](const auto& frame, auto time) { add(frame, time); },
        [completed](const auto& error) { completed->set_value(error.value_or("")); });
    auto result = completed->get_future();
    const bool inTime = result.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    return inTime ? result.get() : "never completed";
  }

  std::function<void(std::string_view)> log() {
    return [this](std::string_view line) {
      std::lock_guard hold(mutex);
      lines.emplace_back(line);
    };
  }

  /// The frames when there are at least `count`, or fewer after a minute.
  std::vector<CaughtFrame> waitForFrames(std::size_t count) { return waitFor(frames, count); }
  std::vector<std::string> waitForLines(std::size_t count) { return waitFor(lines, count); }

 private:
  void add(const I420View& frame, std::int64_t time) {
    const std::uint8_t* middle = frame.dataY + frame.strideY * (frame.height / 2);
    const int lastV = frame.strideV * ((frame.height + 1) / 2 - 1) + (frame.width + 1) / 2 - 1;
    const CaughtFrame caught{
        .width = frame.width,
        .height = frame.height,
        .captureTime = time,
        .middleLuma = std::accumulate(middle, middle + frame.width, 0) / frame.width,
        .lastLuma = frame.dataY[frame.strideY * (frame.height - 1) + frame.width - 1],
        .lastV = frame.dataV[lastV],
        .number = readFrameStamp(frame.dataY, frame.strideY, {0, 0, frame.width, frame.height})};
    std::lock_guard hold(mutex);
    frames.push_back(caught);
  }

  template <class Item>
  std::vector<Item> waitFor(const std::vector<Item>& items, std::size_t count) {
    std::vector<Item> seen;
    (void)test::eventually([&] {
      std::lock_guard hold(mutex);
      seen = items;
      return seen.size() >= count;
    });
    return seen;
  }

  std::mutex mutex;
  std::vector<CaughtFrame> frames;
  std::vector<std::string> lines;
};

}  // namespace quorvex
