#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {

bool VirtualCameraOutput::available() const {
  std::lock_guard hold(mutex);
  return !obstacle;
}

bool VirtualCameraOutput::fedByAnother() const {
  std::lock_guard hold(mutex);
  return anotherFeeds;
}

std::optional<std::string> VirtualCameraOutput::whyUnavailable() const {
  std::lock_guard hold(mutex);
  return obstacle;
}

void VirtualCameraOutput::onAvailabilityChanged(std::function<void()> listener) {
  std::lock_guard hold(calling);
  changed = std::move(listener);
}

void VirtualCameraOutput::setObstacle(std::optional<std::string> why, bool isFedByAnother) {
  bool differs;
  {
    std::lock_guard hold(mutex);
    differs = obstacle.has_value() != why.has_value() || anotherFeeds != isFedByAnother;
    obstacle = std::move(why);
    anotherFeeds = isFedByAnother;
  }
  if (differs) tellOfChange();
}

void VirtualCameraOutput::setSuffices(bool onItsOwn) {
  if (sufficient.exchange(onItsOwn) != onItsOwn) tellOfChange();
}

void VirtualCameraOutput::tellOfChange() {
  std::lock_guard hold(calling);
  if (changed) changed();
}

}  // namespace quorvex
