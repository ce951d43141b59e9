#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "linux/threads/ThreadQueue.h"
#include "linux/vcam/VirtualCameraDevices.h"
#include "vcam/Eventually.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// An output that comes and goes as the test says and remembers what it was given.
class RecordingOutput : public VirtualCameraOutput {
 public:
  [[nodiscard]] std::string name() const override { return "the recorder"; }
  [[nodiscard]] bool watched() const override { return false; }
  void deliver(const CMSampleBuffer& sample) override {
    std::lock_guard hold(mutex);
    numbers.push_back(sample.timing.presentationTimeStamp.value);
  }
  void come() { setAvailable(); }
  void go() { setUnavailable("its cable is cut"); }

  [[nodiscard]] std::vector<std::int64_t> received() const {
    std::lock_guard hold(mutex);
    return numbers;
  }

 private:
  mutable std::mutex mutex;
  std::vector<std::int64_t> numbers;
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
  /// Does what the host does when it sees the device.
  void open() {
    device = deviceList().at(0);
    sink = ids(device, kCMIODevicePropertyStreams).at(1);
    ASSERT_EQ(devices.CMIOStreamCopyBufferQueue(
                  sink, [this] { ++altered; }, &queue),
              kNoError);
    ASSERT_EQ(devices.CMIODeviceStartStream(device, sink), kNoError);
  }
  OSStatus enqueue(int number) {
    CMSampleBuffer sample = picture;
    sample.timing.presentationTimeStamp = {number, 30};
    return queue->CMSimpleQueueEnqueue(std::move(sample));
  }
  std::string logged() {
    std::lock_guard hold(logging);
    return log;
  }

  const CMSampleBuffer picture = *TestPictures().sample(0);
  std::shared_ptr<RecordingOutput> first = std::make_shared<RecordingOutput>();
  std::shared_ptr<RecordingOutput> second = std::make_shared<RecordingOutput>();
  std::mutex logging;
  std::string log;
  std::atomic<int> altered{0};
  std::atomic<int> tapped{0};
  ThreadQueue listening{"listening"};
  CMIOObjectID device = 0;
  CMIOObjectID sink = 0;
  std::shared_ptr<CMSimpleQueue> queue;
  VirtualCameraDevices devices{{first, second},
                               [this](std::string_view line) {
                                 std::lock_guard hold(logging);
                                 log += std::string(line) + "\n";
                               },
                               [this](const CMSampleBuffer&) { ++tapped; }};
};

TEST_F(VirtualCameraDevicesTest, showsOneDeviceWhileAnyOutputIsThere) {
  std::atomic<int> changes{0};
  ASSERT_EQ(
      devices.CMIOObjectAddPropertyListenerBlock(
          kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices, listening, [&] { ++changes; }),
      kNoError);
  EXPECT_THAT(deviceList(), IsEmpty());
  first->come();
  ASSERT_TRUE(eventually([&] { return changes == 1; }));
  const auto before = deviceList();
  ASSERT_EQ(before.size(), 1u);
  std::string name;
  EXPECT_EQ(devices.CMIOObjectGetPropertyData(before[0], kCMIOObjectPropertyName, &name), kNoError);
  EXPECT_EQ(name, "Quorvex Camera");
  EXPECT_EQ(ids(before[0], kCMIODevicePropertyStreams).size(), 2u);

  second->come();
  first->go();
  EXPECT_EQ(deviceList(), before);
  second->go();
  EXPECT_THAT(deviceList(), IsEmpty());
  EXPECT_THAT(ids(before[0], kCMIODevicePropertyStreams), IsEmpty());
  first->come();
  ASSERT_TRUE(eventually([&] { return changes == 3; }));
  EXPECT_NE(deviceList(), before);
  EXPECT_THAT(logged(), HasSubstr("the recorder is gone: its cable is cut\n"));
}

TEST_F(VirtualCameraDevicesTest, handsEverySampleToEveryOutputThatIsThere) {
  first->come();
  open();
  const auto deliver = [&](int number) {
    ASSERT_EQ(enqueue(number), kNoError);
    ASSERT_TRUE(eventually(
        [&] { return !first->received().empty() && first->received().back() == number; }));
  };
  deliver(1);
  second->come();
  deliver(2);
  deliver(3);
  ASSERT_TRUE(eventually([&] { return second->received().size() == 2; }));
  EXPECT_THAT(first->received(), ElementsAre(1, 2, 3));
  EXPECT_THAT(second->received(), ElementsAre(2, 3));
  EXPECT_EQ(altered, 3);
  EXPECT_EQ(tapped, 3);
}

TEST_F(VirtualCameraDevicesTest, takesNothingFromAStoppedStreamAndLetsItFillUp) {
  first->come();
  open();
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kCMIOHardwareNotRunningError);
  for (int number = 0; number < queue->CMSimpleQueueGetCapacity(); ++number)
    EXPECT_EQ(enqueue(number), kNoError);
  EXPECT_EQ(enqueue(9), kCMSimpleQueueError_QueueIsFull);
  EXPECT_EQ(queue->CMSimpleQueueGetCount(), 4);
  EXPECT_THAT(first->received(), IsEmpty());

  ASSERT_EQ(devices.CMIODeviceStartStream(device, sink), kNoError);
  ASSERT_TRUE(eventually([&] { return first->received().size() == 4; }));
  EXPECT_THAT(first->received(), ElementsAre(0, 1, 2, 3));
}

TEST_F(VirtualCameraDevicesTest, stopsDrainingWhenTheDeviceVanishesAndCanBeOpenedAgain) {
  first->come();
  open();
  first->go();
  EXPECT_EQ(devices.CMIODeviceStartStream(device, sink), kCMIOHardwareBadObjectError);
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kCMIOHardwareBadObjectError);
  while (enqueue(1) == kNoError) continue;
  EXPECT_EQ(altered, 0);

  first->come();
  EXPECT_EQ(devices.CMIODeviceStartStream(device, sink), kCMIOHardwareBadObjectError);
  open();
  ASSERT_EQ(enqueue(2), kNoError);
  ASSERT_TRUE(eventually([&] { return first->received() == std::vector<std::int64_t>{2}; }));
}

TEST_F(VirtualCameraDevicesTest, drainsWrongPicturesWithoutShowingThemAndSaysSoOnceAStreak) {
  first->come();
  open();
  const auto small = TestPictures(640, 480).sample(0);
  for (const bool right : {false, false, true, false}) {
    const int before = tapped;
    ASSERT_EQ(right ? enqueue(5) : queue->CMSimpleQueueEnqueue(*small), kNoError);
    ASSERT_TRUE(eventually([&] { return tapped == before + 1; }));
  }
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  EXPECT_EQ(devices.refusedSamples(), 3u);
  EXPECT_EQ(altered, 4);
  EXPECT_THAT(first->received(), ElementsAre(5));
  std::istringstream lines(logged());
  int complaints = 0;
  for (std::string line; std::getline(lines, line);)
    complaints += line ==
                  "virtual camera: A picture of 640x480 420v cannot be shown; the camera takes "
                  "1280x720 420v only";
  EXPECT_EQ(complaints, 2);
}

TEST_F(VirtualCameraDevicesTest, callsBackNoMoreOnceTheHostHasLetGoOfTheQueue) {
  first->come();
  open();
  EXPECT_EQ(devices.CMIODeviceStopStream(device, sink), kNoError);
  ASSERT_EQ(enqueue(1), kNoError);
  queue.reset();
  ASSERT_EQ(devices.CMIODeviceStartStream(device, sink), kNoError);
  ASSERT_TRUE(eventually([&] { return tapped == 1; }));
  EXPECT_EQ(altered, 0);
}

TEST_F(VirtualCameraDevicesTest, holdsUpWhileOutputsComeAndGoUnderStartsAndStops) {
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  for (auto& output : {first, second})
    threads.emplace_back([&done, output] {
      while (!done) {
        output->come();
        std::this_thread::yield();
        output->go();
      }
    });
  const bool oftenEnough = eventually([&, started = 0]() mutable {
    const auto list = deviceList();
    const auto streams = list.empty() ? list : ids(list[0], kCMIODevicePropertyStreams);
    if (streams.empty() ||
        devices.CMIOStreamCopyBufferQueue(
            streams[1], [this] { ++altered; }, &queue) != kNoError ||
        devices.CMIODeviceStartStream(list[0], streams[1]) != kNoError)
      return false;
    for (int number = 0; number < 4; ++number) EXPECT_EQ(enqueue(number), kNoError);
    (void)devices.CMIODeviceStopStream(list[0], streams[1]);
    return ++started == 300;
  });
  done = true;
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(oftenEnough);

  first->come();
  open();
  const auto before = first->received().size();
  ASSERT_EQ(enqueue(2), kNoError);
  EXPECT_TRUE(eventually([&] { return first->received().size() > before; }));
}

}  // namespace
}  // namespace quorvex::test
