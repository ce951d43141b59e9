#include <gmock/gmock.h>

#include "fakes/AllocationCounter.h"
#include "fakes/FakeCmio.h"
#include "fakes/FakeService.h"
#include "fakes/ManualQueue.h"
#include "fakes/Pictures.h"
#include "media/RemoteFrameRenderer.h"
#include "sink/FrameProducer.h"

namespace quorvex {
namespace {

using ::testing::Contains;

class FrameProducerTest : public SteeredTest {
 protected:
  FrameProducerTest() { cmio.devices = {{7, "Quorvex Camera", {8, 9}}}; }
  void start() {
    producer->start();
    queue->run();
  }
  void push(const PixelBufferRef& picture) {
    producer->push(picture);
    queue->run();
  }

  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>(clock);
  FakeCmio cmio;
  FakeSystemLog systemLog;
  std::shared_ptr<FrameProducer> producer = std::make_shared<FrameProducer>(
      FrameProducer::Dependencies{cmio, mainQueue, queue, clock, systemLog});
  PixelBufferRef frame = makeBuffer(1280, 720);
};

TEST_F(FrameProducerTest, accountsForEveryFrame) {
  push(frame);
  start();
  for (int i = 0; i < 5; ++i) push(frame);
  cmio.queue->samples.clear();
  push(PixelBufferRef());
  cmio.queue->status = -50;
  push(frame);
  const auto counts = producer->statistics();
  EXPECT_EQ(counts.dropNotReady, 1u);
  EXPECT_EQ(counts.enqueued, 4u);
  EXPECT_EQ(counts.dropQueueFull, 1u);
  EXPECT_EQ(counts.dropMakeFail, 1u);
  EXPECT_EQ(counts.dropEnqErr, 1u);
  for (int i = 0; i < 51; ++i) push(frame);
  EXPECT_THAT(log.lines(), ::testing::Not(Contains(::testing::HasSubstr("sink push"))));
  push(frame);
  EXPECT_THAT(log.lines(),
              Contains("sink push: enqueued=4 drops/errs=56 drained=0 q=0/4 [notReady=1 full=1 "
                       "makeFail=1 enqErr=53 lastErr=-50 scaleErr=0 sbufErr=-12710]"));
}

TEST_F(FrameProducerTest, passesFullSizeFramesAsTheyAreAndFitsOthers) {
  start();
  producer->flipped = true;
  push(frame);
  push(makeBuffer(640, 480));
  ASSERT_EQ(cmio.queue->samples.size(), 2u);
  EXPECT_EQ(cmio.queue->samples[0].imageBuffer, frame) << "not even mirrored";
  const auto& fitted = cmio.queue->samples[1];
  EXPECT_EQ(fitted.imageBuffer->width(), 1280);
  EXPECT_EQ(fitted.imageBuffer->cleanAperture, (PixelRect{160, 0, 960, 720}));
  EXPECT_EQ(fitted.timing.duration.timescale, 30);
  EXPECT_EQ(fitted.timing.presentationTimeStamp.value, 1'000'000'000'000);
}

TEST_F(FrameProducerTest, allocatesNothingFromTheEnginesCallbackToTheSinkQueue) {
  start();
  RemoteFrameRenderer renderer([&](const PixelBufferRef& buffer) { push(buffer); });
  const PaddedPicture full(1280, 720), other(641, 481);
  const auto deliver = [&](const PaddedPicture& picture, int count) {
    const RtcVideoFrame received{.pixelBuffer = {}, .i420 = picture.view};
    const int before = allocationCount();
    for (int i = 0; i < count; ++i) {
      renderer.renderFrame(&received);
      cmio.queue->samples.clear();
    }
    return allocationCount() - before;
  };
  for (const auto* picture : {&full, &other}) {
    deliver(*picture, 10);
    EXPECT_EQ(deliver(*picture, 15), 0);  // short of the statistics line, which is text
  }
  EXPECT_EQ(producer->statistics().enqueued, 50u);
}

}  // namespace
}  // namespace quorvex
