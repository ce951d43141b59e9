#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/LatencyProbe.h"
#include "sink/FrameFitter.h"

namespace quorvex {
namespace {

constexpr std::int64_t kMs = 1'000'000;

PixelBufferRef buffer(int width, int height) {
  PixelBufferPoolRef pool;
  EXPECT_EQ(CVPixelBufferPoolCreate({.width = width, .height = height}, &pool), kNoError);
  PixelBufferRef made;
  EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(pool, &made), kNoError);
  return made;
}

PixelBufferRef delivered(std::uint32_t number, int width = 640, int height = 360) {
  I420Picture picture(width, height);
  paintFrameStamp(number, picture);
  PixelBufferRef made = buffer(width, height);
  for (int y = 0; y < height; ++y) {
    std::copy_n(picture.y() + y * width, width,
                made->baseAddressOfPlane(0) + y * made->bytesPerRowOfPlane(0));
  }
  return made;
}

class ProbeTest : public testing::Test {
 protected:
  std::shared_ptr<FrameLedger> ledger = std::make_shared<FrameLedger>();
  LatencyProbe probe{ledger};
};

TEST_F(ProbeTest, measuresFromPaintToSink) {
  for (std::uint32_t number = 1; number <= 100; ++number) {
    ledger->painted(number, number * 33 * kMs);
    probe.frameDelivered(*delivered(number), number * 33 * kMs + number * kMs);
  }
  const auto summary = probe.summary();
  EXPECT_EQ(summary.arrived, 100u);
  EXPECT_EQ(summary.lostFrames, 0u);
  EXPECT_NEAR(summary.p50, 50, 0.11);
  EXPECT_NEAR(summary.p95, 95, 0.11);
  EXPECT_DOUBLE_EQ(summary.max, 100);
}

TEST_F(ProbeTest, countsLostRepeatedAndUnreadableFramesApart) {
  for (std::uint32_t number = 0; number < 20; ++number) ledger->painted(number, 0);
  for (const std::uint32_t number : {3, 4, 4, 7, 9}) probe.frameDelivered(*delivered(number), kMs);
  PixelBufferRef blank = buffer(640, 360);
  std::fill_n(blank->baseAddressOfPlane(0), blank->bytesPerRowOfPlane(0) * 360, 16);
  probe.frameDelivered(*blank, kMs);
  probe.frameDelivered(*delivered(4711), kMs);
  const auto summary = probe.summary();
  EXPECT_EQ(summary.arrived, 4u);
  EXPECT_EQ(summary.lostFrames, 3u) << "5, 6 and 8 never came";
  EXPECT_EQ(summary.unreadable, 2u) << "a blank one and a number never painted";
}

TEST_F(ProbeTest, keepsTheLongestLatencyBeyondItsBuckets) {
  ledger->painted(1, 0);
  probe.frameDelivered(*delivered(1), 12'000 * kMs);
  EXPECT_DOUBLE_EQ(probe.summary().max, 12'000);
}

TEST_F(ProbeTest, isAllZeroBeforeTheFirstFrame) {
  const auto summary = probe.summary();
  EXPECT_EQ(summary.arrived + summary.lostFrames + summary.unreadable, 0u);
  EXPECT_EQ(summary.p50 + summary.p95 + summary.max, 0);
}

TEST_F(ProbeTest, readsWhatTheHostFittedBetweenBars) {
  ledger->painted(5, 0);
  const PixelBufferRef odd = delivered(5, 641, 481);
  for (const bool flipped : {false, true}) {
    LatencyProbe fresh(ledger);
    PixelBufferRef fitted = buffer(1280, 720);
    FrameFitter().fit(*odd, flipped, *fitted);
    ASSERT_LT(fitted->cleanAperture.width, 1280);
    fresh.frameDelivered(*fitted, kMs);
    EXPECT_EQ(fresh.summary().arrived, 1u) << "flipped: " << flipped;
  }
}

TEST(FrameLedger, forgetsNumbersThatAreTooOld) {
  FrameLedger ledger;
  EXPECT_EQ(ledger.paintTime(0), std::nullopt) << "0 was never painted";
  for (std::uint32_t number = 0; number <= FrameLedger::kCapacity; ++number)
    ledger.painted(number, number);
  EXPECT_EQ(ledger.paintTime(0), std::nullopt);
  EXPECT_EQ(ledger.paintTime(1), 1);
  EXPECT_EQ(ledger.paintTime(FrameLedger::kCapacity), FrameLedger::kCapacity);
}

}  // namespace
}  // namespace quorvex
