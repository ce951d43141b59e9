#include "linux/vcam/SampleQueue.h"

#include <utility>

namespace quorvex {

int SampleQueue::CMSimpleQueueGetCount() const {
  std::lock_guard hold(mutex);
  return count;
}

OSStatus SampleQueue::CMSimpleQueueEnqueue(CMSampleBuffer sample) {
  {
    std::lock_guard hold(mutex);
    if (count == kCapacity) return kCMSimpleQueueError_QueueIsFull;
    ring[(first + count) % kCapacity] = std::move(sample);
    ++count;
  }
  arrived.notify_one();
  return kNoError;
}

std::optional<CMSampleBuffer> SampleQueue::take(const std::stop_token& stop) {
  std::unique_lock hold(mutex);
  arrived.wait(hold, stop, [this] { return count > 0; });
  if (stop.stop_requested()) return {};
  std::optional<CMSampleBuffer> sample(std::move(ring[first]));
  first = (first + 1) % kCapacity;
  --count;
  return sample;
}

}  // namespace quorvex
