#pragma once

#include <functional>
#include <string>

#include "platform/CoreMedia.h"

namespace quorvex {

/// One way in which the pictures of "Quorvex Camera" leave the host: a PipeWire node, a socket.
class VirtualCameraOutput {
 public:
  virtual ~VirtualCameraOutput() = default;

  /// What a person calls it, for log lines.
  [[nodiscard]] virtual std::string name() const = 0;

  /// Whether it can take pictures now; false while what it stands on (a daemon) is away. Any thread.
  [[nodiscard]] virtual bool available() const = 0;

  /// `changed` is called, on any thread, whenever `available` may answer differently. Set once,
  /// before anything else.
  virtual void onAvailabilityChanged(std::function<void()> changed) = 0;

  /// Hands it one 1280x720 420v picture. Called on the device's consumer thread; never waits for a
  /// reader: what a slow reader cannot take is dropped whole.
  virtual void deliver(const CMSampleBuffer& sample) = 0;
};

}  // namespace quorvex
