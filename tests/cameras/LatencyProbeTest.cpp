#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/Pictures.h"
#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/LatencyProbe.h"
#include "sink/FrameFitter.h"

namespace quorvex {
namespace {

constexpr std::int64_t kMs = 1'000'000;

PixelBufferRef delivered(std::uint32_t number, int width = 640, int height = 360) {
  I420Picture picture(width, height);
  paintFrameStamp(number, picture);
  PixelBufferRef made = makeBuffer(width, height);
  for (int y = 0; y < height; ++y)
    std::copy_n(picture.y() + y * width, width,
                made->baseAddressOfPlane(0) + y * made->bytesPerRowOfPlane(0));
  return made;
}

TEST(LatencyProbe, measuresFromPaintToSink) {
  const auto ledger = std::make_shared<FrameLedger>();
  LatencyProbe probe(ledger);
  EXPECT_EQ(probe.summary().p50 + probe.summary().max, 0) << "before the first frame";
  for (std::uint32_t number = 1; number <= 100; ++number) {
    ledger->painted(number, number * 33 * kMs);
    probe.frameDelivered(*delivered(number), number * 33 * kMs + number * kMs);
  }
  EXPECT_NEAR(probe.summary().p50, 50, 0.11);
  EXPECT_NEAR(probe.summary().p95, 95, 0.11);
  ledger->painted(101, 0);
  // As the host fits it between bars.
  const PixelBufferRef fitted = makeBuffer(1280, 720);
  FrameFitter().fit(*delivered(101, 641, 481), true, *fitted);
  ASSERT_LT(fitted->cleanAperture.width, 1280);
  probe.frameDelivered(*fitted, 12'000 * kMs);
  EXPECT_DOUBLE_EQ(probe.summary().max, 12'000);
  EXPECT_EQ(probe.summary().arrived, 101u);
  EXPECT_EQ(probe.summary().lostFrames, 0u);
}

TEST(LatencyProbe, countsLostRepeatedAndUnreadableFramesApart) {
  const auto ledger = std::make_shared<FrameLedger>();
  LatencyProbe probe(ledger);
  for (std::uint32_t number = 0; number < 20; ++number) ledger->painted(number, 0);
  for (const std::uint32_t number : {3u, 4u, 4u, 7u, 9u, 3u + FrameLedger::kCapacity})
    probe.frameDelivered(*delivered(number), kMs);
  const auto summary = probe.summary();
  EXPECT_EQ(summary.arrived, 4u);
  EXPECT_EQ(summary.lostFrames, 3u) << "5, 6 and 8 never came";
  EXPECT_EQ(summary.unreadable, 1u) << "the last was never painted";
}

}  // namespace
}  // namespace quorvex
