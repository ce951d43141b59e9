#include <libyuv.h>

#include <random>

#include "fakes/Pictures.h"
#include "linux/cameras/FrameStamp.h"
#include "linux/cameras/LatencyProbe.h"
#include "linux/cameras/PatternPainter.h"

namespace quorvex {
namespace {

constexpr std::int64_t kMs = 1'000'000;

std::optional<std::uint32_t> read(const I420Picture& picture) {
  return readFrameStamp(picture.view().dataY, picture.strideY(),
                        {0, 0, picture.width, picture.height});
}

PixelBufferRef delivered(std::uint32_t number) {
  I420Picture picture(640, 360);
  paintFrameStamp(number, picture);
  PixelBufferRef made = makeBuffer(640, 360);
  libyuv::CopyPlane(picture.y(), 640, made->baseAddressOfPlane(0), made->bytesPerRowOfPlane(0), 640,
                    360);
  return made;
}

TEST(FrameStamp, isReadAtEveryScaleAndMirroredAndNeverWrongly) {
  I420Picture original = PatternPainter(1280, 720).paint(0xdeadbeef, 0.5);
  for (const auto& [width, height] : {std::pair{320, 180}, {641, 481}, {1920, 1080}}) {
    I420Picture scaled(width, height), mirrored(width, height);
    libyuv::ScalePlane(original.y(), 1280, 1280, 720, scaled.y(), width, width, height,
                       libyuv::kFilterBox);
    EXPECT_EQ(read(scaled), 0xdeadbeef) << width << "x" << height;
    libyuv::MirrorPlane(scaled.y(), width, mirrored.y(), width, width, height);
    EXPECT_EQ(read(mirrored), 0xdeadbeef) << width << "x" << height;
  }
  for (int cell = 1; cell < 25; ++cell) {  // the others are marks and carry no number
    I420Picture damaged = original;
    for (int y = 648; y < 684; ++y)
      for (int x = 1280 * cell / 26, end = x + 49; x < end; ++x) damaged.y()[y * 1280 + x] ^= 0xff;
    EXPECT_EQ(read(damaged), std::nullopt) << cell;
  }
  std::generate_n(original.y(), 1280 * 720, std::mt19937(7));
  for (const PixelRect& content : {PixelRect{0, 0, 1280, 720}, {0, 0, 319, 720}, {0, 0, 1280, 20}})
    EXPECT_EQ(readFrameStamp(original.y(), 1280, content), std::nullopt);
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
