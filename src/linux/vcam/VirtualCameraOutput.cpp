#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {

bool VirtualCameraOutput::available() const {
  std::lock_guard hold(mutex);
  return !obstacle;
}

std::optional<std::string> VirtualCameraOutput::whyUnavailable() const {
  std::lock_guard hold(mutex);
  return obstacle;
}

void VirtualCameraOutput::onAvailabilityChanged(std::function<void()> listener) {
  std::lock_guard hold(calling);
  changed = std::move(listener);
}

void VirtualCameraOutput::setObstacle(std::optional<std::string> why) {
  bool flipped;
  {
    std::lock_guard hold(mutex);
    flipped = obstacle.has_value() != why.has_value();
    obstacle = std::move(why);
  }
  if (!flipped) return;
  std::lock_guard hold(calling);
  if (changed) changed();
}

}  // namespace quorvex
