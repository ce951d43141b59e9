#include "linux/cameras/V4l2Device.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "linux/cameras/CameraError.h"
#include "linux/driver/DeviceUsers.h"
#include "platform/CoreMediaIO.h"

namespace quorvex {
namespace {

constexpr unsigned kVideoMajor = 81;

std::string busyMessage(const std::string& path, const std::string& subject) {
  const std::string programs = programsUsing(path);
  return subject + " is used by another program" + (programs.empty() ? "" : " (" + programs + ")") +
         ": close it";
}

std::string meaningOf(int code, const std::string& path, const std::string& card,
                      const char* action) {
  const std::string subject = card.empty() ? path : path + " (" + card + ")";
  switch (code) {
    case EBUSY:
      return busyMessage(path, subject);
    case EACCES:
    case EPERM:
      return subject + " may not be used by this user: add the user to the group video with " +
             "sudo usermod -aG video $USER and log in again";
    case ENOENT:
    case ENODEV:
    case ENXIO:
      return subject + " is not there: plug the camera in";
    case ENOSPC:
      return subject +
             " gets too little USB bandwidth: plug it into another port, or unplug other " +
             "cameras";
    default:
      return subject + " failed at " + action + " (" + std::strerror(code) +
             "): unplug the camera and plug it in again";
  }
}

}  // namespace

std::vector<std::string> V4l2Device::paths() {
  constexpr std::string_view kPrefix = "video";
  std::map<int, std::string> byNumber;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/dev", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(kPrefix)) continue;
    int number = 0;
    const char* last = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + kPrefix.size(), last, number);
    if (parsed.ec == std::errc() && parsed.ptr == last) byNumber[number] = entry->path().string();
  }
  std::vector<std::string> sorted;
  for (const auto& [number, path] : byNumber) sorted.push_back(path);
  return sorted;
}

V4l2Device::V4l2Device(std::string path) : devicePath(std::move(path)) {
  // Looked at before it is opened: opening another kind of device may set something off.
  struct stat status {};
  if (stat(devicePath.c_str(), &status) != 0) fail(errno, "opening it");
  if (!S_ISCHR(status.st_mode) || major(status.st_rdev) != kVideoMajor)
    throw CameraError(devicePath + " is no video device: name one like /dev/video0");
  fd = open(devicePath.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) fail(errno, "opening it");

  v4l2_capability capability{};
  if (const int code = control(VIDIOC_QUERYCAP, &capability)) {
    close(fd);
    fail(code, "asking what it can do");
  }
  const char* name = reinterpret_cast<const char*>(capability.card);
  card = oneLine({name, strnlen(name, sizeof capability.card)});
  const char* driver = reinterpret_cast<const char*>(capability.driver);
  if (card == kVirtualCameraName && std::string_view(driver) == "v4l2 loopback") {
    close(fd);
    throw CameraError(devicePath + " is the virtual camera itself: name a webcam");
  }
  constexpr unsigned kNeeded = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
  if ((capability.device_caps & kNeeded) != kNeeded) {
    close(fd);
    throw CameraError(devicePath + " delivers no pictures: name another video device");
  }
}

V4l2Device::~V4l2Device() {
  close(fd);
}

int V4l2Device::control(unsigned long request, void* argument) const {
  while (ioctl(fd, request, argument) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

void V4l2Device::demand(unsigned long request, void* argument, const char* action) const {
  if (const int code = control(request, argument)) fail(code, action);
}

void V4l2Device::fail(int code, const char* action) const {
  throw CameraError(meaningOf(code, devicePath, card, action), code);
}

}  // namespace quorvex
