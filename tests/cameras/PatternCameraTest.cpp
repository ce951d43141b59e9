#include <gtest/gtest.h>

#include "cameras/CaughtFrames.h"
#include "linux/cameras/PatternCamera.h"

namespace quorvex {
namespace {

TEST(PatternCamera, keepsItsCadenceStopsAtOnceAndNumbersEveryFrameOnAfterTheNextStart) {
  CaughtFrames caught;
  const auto ledger = std::make_shared<FrameLedger>();
  PatternCamera camera(ledger);
  const auto start = [&](int width, int height, int fps) {
    return caught.start(camera, camera.captureDevices().front(), {width, height, 0, {}}, fps);
  };
  EXPECT_NE(start(1, 1, 30).find("1280x720"), std::string::npos) << "a size that it does not offer";
  EXPECT_EQ(start(1280, 720, 30), "");
  caught.waitForFrames(16);
  EXPECT_EQ(start(1920, 1080, 1), "") << "a second start ends the first";
  const auto frames = caught.waitForFrames(caught.waitForFrames(0).size() + 1);
  const auto begin = monotonicNow();
  camera.stopCapture();
  EXPECT_LT(monotonicNow() - begin, 700'000'000) << "between slow frames";
  // A busy machine may leave ticks out, never bunch them.
  EXPECT_GE(frames.at(15).captureTime - frames[0].captureTime, 450'000'000);
  EXPECT_EQ(frames.back().width, 1920);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].number, *frames[0].number + i);
    EXPECT_EQ(ledger->paintTime(*frames[i].number), frames[i].captureTime);
  }
}

}  // namespace
}  // namespace quorvex
