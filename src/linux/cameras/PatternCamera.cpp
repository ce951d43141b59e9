#include "linux/cameras/PatternCamera.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "linux/cameras/PatternPainter.h"

namespace quorvex {
namespace {

constexpr int kFramesPerSecond = 30;
constexpr std::array<std::pair<int, int>, 3> kSizes{{{1280, 720}, {640, 480}, {1920, 1080}}};

}  // namespace

PatternCamera::PatternCamera(std::shared_ptr<FrameLedger> frames) : ledger(std::move(frames)) {}

std::vector<CaptureDevice> PatternCamera::captureDevices() {
  return {{"quorvex-test-pattern", "Quorvex Test Pattern"}};
}

std::vector<CaptureFormat> PatternCamera::supportedFormats(const CaptureDevice& device) {
  if (device.uniqueID != captureDevices().front().uniqueID) return {};
  std::vector<CaptureFormat> formats;
  for (const auto& [width, height] : kSizes)
    formats.push_back({width, height, 0, {FrameRateRange{kFramesPerSecond}}});
  return formats;
}

void PatternCamera::startCapture(const CaptureDevice& device, const CaptureFormat& format, int fps,
                                 FrameHandler onFrame, StartCompletion completion) {
  stopCapture();
  const auto formats = supportedFormats(device);
  const bool offered = std::any_of(formats.begin(), formats.end(), [&](const CaptureFormat& some) {
    return some.width == format.width && some.height == format.height;
  });
  const double rate = std::clamp(fps, 1, kFramesPerSecond);
  thread.start("camera-pattern",
               [=, this, width = format.width, height = format.height, onFrame = std::move(onFrame),
                completion = std::move(completion)](std::stop_token stop) {
                 if (!offered) {
                   completion("The test pattern has no size " + std::to_string(width) + "x" +
                              std::to_string(height) + ": choose 1280x720, 640x480 or 1920x1080");
                   return;
                 }
                 PatternPainter painter(width, height);
                 completion(std::nullopt);
                 FramePacer pacer(rate);
                 for (const std::int64_t start = monotonicNow(); pacer.nextTick(stop);) {
                   const std::int64_t now = monotonicNow();
                   const std::uint32_t number = nextNumber++;
                   ledger->painted(number, now);
                   const double seconds = static_cast<double>(now - start) / 1e9;
                   onFrame(painter.paint(number, seconds).view(), now);
                 }
               });
}

}  // namespace quorvex
