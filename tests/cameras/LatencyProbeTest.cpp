#include <algorithm>

#include "fakes/Pictures.h"
#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/LatencyProbe.h"

namespace quorvex {
namespace {

constexpr std::int64_t kMs = 1'000'000;

PixelBufferRef delivered(std::uint32_t number) {
  I420Picture picture(640, 360);
  paintFrameStamp(number, picture);
  PixelBufferRef made = makeBuffer(640, 360);
  for (int y = 0; y < 360; ++y)
    std::copy_n(picture.y() + y * 640, 640,
                made->baseAddressOfPlane(0) + y * made->bytesPerRowOfPlane(0));
  return made;
}

TEST(LatencyProbe, measuresFromPaintToSinkAndCountsLostRepeatedAndUnreadableFramesApart) {
  const auto ledger = std::make_shared<FrameLedger>();
  LatencyProbe probe(ledger);
  EXPECT_EQ(probe.summary().p50 + probe.summary().max, 0) << "before the first frame";
  for (std::uint32_t number = 1; number <= 100; ++number) {
    ledger->painted(number, number * 33 * kMs);
    probe.frameDelivered(*delivered(number), number * 33 * kMs + number * kMs);
  }
  EXPECT_NEAR(probe.summary().p50, 50, 0.11);
  EXPECT_NEAR(probe.summary().p95, 95, 0.11);
  for (std::uint32_t number = 101; number < 120; ++number) ledger->painted(number, 0);
  for (const std::uint32_t number : {103u, 104u, 104u, 107u, 103u + FrameLedger::kCapacity})
    probe.frameDelivered(*delivered(number), 12'000 * kMs);
  EXPECT_DOUBLE_EQ(probe.summary().max, 12'000);
  EXPECT_EQ(probe.summary().arrived, 103u);
  EXPECT_EQ(probe.summary().lostFrames, 4u) << "101, 102, 105 and 106 never came";
  EXPECT_EQ(probe.summary().unreadable, 1u) << "the last was never painted";
}

}  // namespace
}  // namespace quorvex
