#pragma once

#include <string>
#include <vector>

#include "platform/Camera.h"

namespace quorvex {

/// One open video device that captures pictures. Bound to one thread.
class V4l2Device {
 public:
  /// The paths of the machine's video devices, by number.
  [[nodiscard]] static std::vector<std::string> paths();

  /// Throws CameraError, with the errno, when the path is no such device or cannot be opened.
  explicit V4l2Device(std::string path);
  ~V4l2Device();
  V4l2Device(const V4l2Device&) = delete;
  V4l2Device& operator=(const V4l2Device&) = delete;

  [[nodiscard]] const std::string& path() const { return devicePath; }
  [[nodiscard]] const std::string& cardName() const { return card; }
  [[nodiscard]] int descriptor() const { return fd; }

  /// ioctl, begun again when a signal came. Returns 0 or the errno.
  [[nodiscard]] int control(unsigned long request, void* argument) const;

  /// The same, throwing CameraError; `action` says what was tried ("setting its format").
  void demand(unsigned long request, void* argument, const char* action) const;

  /// What an errno means for people, and what they can do about it.
  [[noreturn]] void fail(int code, const char* action) const;

 private:
  std::string devicePath;
  std::string card;
  int fd = -1;
};

}  // namespace quorvex
