#pragma once

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>

#include "platform/CoreMedia.h"

namespace quorvex {

/// The queue between the host and the virtual camera's consumer thread: four samples, kept in the
/// order they came in. Allocates nothing per sample. Thread-safe.
class SampleQueue : public CMSimpleQueue {
 public:
  static constexpr int kCapacity = 4;

  [[nodiscard]] int CMSimpleQueueGetCount() const override;
  [[nodiscard]] int CMSimpleQueueGetCapacity() const override { return kCapacity; }

  /// Never waits; kCMSimpleQueueError_QueueIsFull when there is no room.
  [[nodiscard]] OSStatus CMSimpleQueueEnqueue(CMSampleBuffer sample) override;

  /// Takes the oldest sample, waiting until there is one. None once `stop` is requested, also when
  /// samples are left.
  [[nodiscard]] std::optional<CMSampleBuffer> take(const std::stop_token& stop);

 private:
  mutable std::mutex mutex;
  std::condition_variable_any arrived;
  std::array<CMSampleBuffer, kCapacity> ring;  // protected by mutex, as all below
  int first = 0;
  int count = 0;
};

}  // namespace quorvex
