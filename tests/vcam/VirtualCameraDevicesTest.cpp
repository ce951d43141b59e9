#include <gmock/gmock.h>

#include "linux/threads/ThreadQueue.h"
#include "linux/vcam/VirtualCameraDevices.h"
#include "support/Eventually.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using namespace testing;

/// An output that comes and goes as the test says and remembers what it was given.
class RecordingOutput : public VirtualCameraOutput {
 public:
  [[nodiscard]] std::string name() const override { return "the recorder"; }
  [[nodiscard]] bool watched() const override { return false; }
  void deliver(const CMSampleBuffer& sample) override {
    numbers.push_back(sample.timing.presentationTimeStamp.value);
  }
  void come() { setAvailable(); }
  void go() { setUnavailable("its cable is cut"); }

  std::vector<std::int64_t> numbers;  ///< to be looked at while the stream is stopped
};

class VirtualCameraDevicesTest : public ::testing::Test {
 protected:
  std::vector<CMIOObjectID> ids(CMIOObjectID object, const CMIOObjectPropertyAddress& address) {
    std::vector<CMIOObjectID> found(devices.CMIOObjectGetPropertyDataSize(object, address) / 4);
    devices.CMIOObjectGetPropertyData(object, address, found);
    return found;
  }
  std::vector<CMIOObjectID> deviceList() {
    return ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
  }
  /// Does what the host does when it sees the device; false when the device is gone meanwhile.
  bool open() {
    const auto list = deviceList();
    const auto streams = list.empty() ? list : ids(list[0], kCMIODevicePropertyStreams);
    if (streams.size() < 2) return false;
    device = list[0];
    sink = streams[1];
    return devices.CMIOStreamCopyBufferQueue(
               sink, [this] { ++altered; }, &queue) == kNoError &&
           devices.CMIODeviceStartStream(device, sink) == kNoError;
  }
  OSStatus enqueue(int number, const TestPictures& from = TestPictures()) {
    return queue->CMSimpleQueueEnqueue(*from.sample(number));
  }

  const std::shared_ptr<RecordingOutput> first = std::make_shared<RecordingOutput>();
  const std::shared_ptr<RecordingOutput> second = std::make_shared<RecordingOutput>();
  std::mutex logging;
  std::string log;
  std::atomic<int> altered{0}, tapped{0}, changes{0};
  ThreadQueue listening{"listening"};
  CMIOObjectID device = 0, sink = 0;
  std::shared_ptr<CMSimpleQueue> queue;
  VirtualCameraDevices devices{{first, second},
                               [this](std::string_view line) {
                                 std::lock_guard hold(logging);
                                 log += std::string(line) + "\n";
                               },
                               [this](const CMSampleBuffer&) { ++tapped; }};
};

TEST_F(VirtualCameraDevicesTest, showsOneDeviceWhileAnyOutputIsThere) {
  ASSERT_EQ(
      devices.CMIOObjectAddPropertyListenerBlock(
          kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices, listening, [&] { ++changes; }),
      kNoError);
  EXPECT_THAT(deviceList(), IsEmpty());
  first->come();
  const auto before = deviceList();
  ASSERT_EQ(before.size(), 1u);
  second->come();
  first->go();
  EXPECT_EQ(deviceList(), before);
  second->go();
  EXPECT_THAT(deviceList(), IsEmpty());
  EXPECT_THAT(ids(before[0], kCMIODevicePropertyStreams), IsEmpty());
  first->come();
  EXPECT_NE(deviceList(), before);
  EXPECT_TRUE(eventually([&] { return changes == 3; }));
  EXPECT_THAT(log, HasSubstr("the recorder is gone: its cable is cut\n"));
}

TEST_F(VirtualCameraDevicesTest, fillsUpWhileStoppedAndCallsNoHostBackThatHasLetGoOfTheQueue) {
  first->come();
  ASSERT_TRUE(open());
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kCMIOHardwareNotRunningError);
  for (int number = 0; number < 4; ++number) EXPECT_EQ(enqueue(number), kNoError);
  EXPECT_EQ(enqueue(9), kCMSimpleQueueError_QueueIsFull);
  queue.reset();
  ASSERT_EQ(devices.CMIODeviceStartStream(device, sink), kNoError);
  EXPECT_TRUE(eventually([&] { return tapped == 4; }));
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  EXPECT_THAT(first->numbers, ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(altered, 0);
}

TEST_F(VirtualCameraDevicesTest, handsEveryRightSampleToEveryOutputAndSaysOnceAStreakOfWrongOnes) {
  first->come();
  ASSERT_TRUE(open());
  const TestPictures small(640, 480), right;
  for (int number = 0; number < 6; ++number) {
    if (number == 5) second->come();
    ASSERT_EQ(enqueue(number, number % 3 == 2 ? right : small), kNoError);
    ASSERT_TRUE(eventually([&] { return tapped == number + 1; }));
  }
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  EXPECT_EQ(devices.refusedSamples(), 4u);
  EXPECT_THAT(first->numbers, ElementsAre(2, 5));
  EXPECT_THAT(second->numbers, ElementsAre(5));
  EXPECT_EQ(altered, 6);
  EXPECT_THAT(log, MatchesRegex("[^\n]*available\n(virtual camera: A picture of 640x480[^\n]*\n){2}"
                                "[^\n]*available\n"));
}

}  // namespace
}  // namespace quorvex::test
