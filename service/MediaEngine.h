#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "platform/Task.h"

namespace quorvex {
class NativeFactory;
}

namespace quorvex::service {

/// The WebRTC library as the service uses it: quiet, on the loopback interface too, and with frames
/// played out as soon as they are there. Outlives every MediaPeer made on it.
class MediaEngine {
 public:
  /// `hop` runs a task on the service's thread; it is called on the library's threads. Throws
  /// std::runtime_error when the library does not start.
  explicit MediaEngine(std::function<void(Task)> hop);
  /// Waits until the peers that were let go have ended.
  ~MediaEngine();

  [[nodiscard]] NativeFactory& native() const { return *factory; }
  void hop(Task task) const { toService(std::move(task)); }

  /// Whether the peers send pictures; while they do not, all else goes on. Any thread.
  void letPicturesFlow(bool flow) { flowing = flow; }
  [[nodiscard]] const std::atomic<bool>& picturesFlow() const { return flowing; }

 private:
  std::atomic<bool> flowing = true;
  std::function<void(Task)> toService;
  std::shared_ptr<NativeFactory> factory;
};

}  // namespace quorvex::service
