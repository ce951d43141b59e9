#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "linux/cameras/FrameStamp.h"
#include "platform/Camera.h"

namespace quorvex {

struct CaughtFrame {
  int width = 0;
  int height = 0;
  std::int64_t captureTime = 0;
  int meanLuma = 0;
  std::uint8_t firstLuma = 0;
  std::uint8_t lastLuma = 0;
  std::uint8_t firstU = 0;
  std::uint8_t lastV = 0;
  std::optional<std::uint32_t> number;
};

/// Keeps what a camera hands over and says; waits for it with a deadline.
class CaughtFrames {
 public:
  CameraProvider::FrameHandler handler() {
    return [this](const I420View& frame, std::int64_t captureTime) {
      const int lastY = frame.strideY * (frame.height - 1) + frame.width - 1;
      const int lastV = frame.strideV * ((frame.height + 1) / 2 - 1) + (frame.width + 1) / 2 - 1;
      const CaughtFrame caught{
          .width = frame.width,
          .height = frame.height,
          .captureTime = captureTime,
          .meanLuma = meanLuma(frame),
          .firstLuma = frame.dataY[0],
          .lastLuma = frame.dataY[lastY],
          .firstU = frame.dataU[0],
          .lastV = frame.dataV[lastV],
          .number = readFrameStamp(frame.dataY, frame.strideY, {0, 0, frame.width, frame.height})};
      change([&] { frames.push_back(caught); });
    };
  }

  CameraProvider::StartCompletion completion() {
    return [this](std::optional<std::string> error) {
      change([&] { completions.push_back(error.value_or("")); });
    };
  }

  std::function<void(std::string_view)> log() {
    return [this](std::string_view line) { change([&] { lines.emplace_back(line); }); };
  }

  /// The frames when there are at least `count`, or fewer after ten seconds.
  std::vector<CaughtFrame> waitForFrames(std::size_t count) { return waitFor(frames, count); }
  std::vector<std::string> waitForLines(std::size_t count) { return waitFor(lines, count); }

  /// What the start was completed with: "" for success.
  std::string waitForCompletion() {
    const auto all = waitFor(completions, 1);
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? "never completed" : all.front();
  }

 private:
  // Of one pixel in sixteen.
  static int meanLuma(const I420View& frame) {
    int sum = 0;
    int count = 0;
    for (int y = 0; y < frame.height; y += 4) {
      for (int x = 0; x < frame.width; x += 4, ++count) sum += frame.dataY[y * frame.strideY + x];
    }
    return sum / count;
  }

  template <class Change>
  void change(Change body) {
    std::lock_guard hold(mutex);
    body();
    changed.notify_all();
  }

  template <class Item>
  std::vector<Item> waitFor(const std::vector<Item>& items, std::size_t count) {
    std::unique_lock hold(mutex);
    changed.wait_for(hold, std::chrono::seconds(10), [&] { return items.size() >= count; });
    return items;
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::vector<CaughtFrame> frames;
  std::vector<std::string> completions;
  std::vector<std::string> lines;
};

}  // namespace quorvex
