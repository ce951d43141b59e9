#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "platform/CoreMediaIO.h"

namespace quorvex {

/// What PipeWire's programs know the camera by.
constexpr const char* kPipeWireNodeName = "quorvex_camera";

/// What the camera shows, whichever way it leaves the host: 420v pictures of this size.
constexpr int kVirtualCameraWidth = 1280;
constexpr int kVirtualCameraHeight = 720;
constexpr int kVirtualCameraFrameRate = 30;

/// One way in which the pictures of "Quorvex Camera" leave the host: a video device, a PipeWire
/// node, a socket.
/// Thread-safe, but for what is said below.
class VirtualCameraOutput {
 public:
  virtual ~VirtualCameraOutput() = default;

  /// What a person calls it, for log lines.
  [[nodiscard]] virtual std::string name() const = 0;

  /// Whether somebody reads the camera through this output now, or may do so where nothing tells.
  [[nodiscard]] virtual bool watched() const = 0;

  /// Hands it one 1280x720 420v picture. Called on the device's consumer thread; never waits for a
  /// reader: what a slow reader cannot take is dropped whole.
  virtual void deliver(const CMSampleBuffer& sample) = 0;

  /// Whether it can take pictures now; false while what it stands on (a daemon) is away.
  [[nodiscard]] bool available() const;

  /// Whether programs see a camera of our name there although it takes no pictures from us, as
  /// another program feeds it. False while available.
  [[nodiscard]] bool fedByAnother() const;

  /// Whether it makes the camera on its own, as outputs do unless told otherwise; else it is fed
  /// beside one that does.
  [[nodiscard]] bool suffices() const { return sufficient; }
  void setSuffices(bool onItsOwn);

  /// One line for a person: what keeps it from taking pictures, and the mend. None while available.
  [[nodiscard]] std::optional<std::string> whyUnavailable() const;

  /// `changed` is called, on any thread, whenever `available`, `fedByAnother` or `suffices` has
  /// come to answer differently. It must not call back here. An empty one ends it: on return no
  /// call is running or will come.
  void onAvailabilityChanged(std::function<void()> changed);

 protected:
  void setAvailable() { setObstacle({}, false); }
  void setUnavailable(std::string why, bool isFedByAnother = false) {
    setObstacle(std::move(why), isFedByAnother);
  }

 private:
  void setObstacle(std::optional<std::string> why, bool isFedByAnother);
  void tellOfChange();

  std::atomic<bool> sufficient{true};
  mutable std::mutex mutex;
  std::optional<std::string> obstacle = "It is starting; try again in a moment";  // by mutex
  bool anotherFeeds = false;                                                      // by mutex
  std::mutex calling;             ///< held while `changed` runs; never taken while holding mutex
  std::function<void()> changed;  // protected by calling
};

}  // namespace quorvex
