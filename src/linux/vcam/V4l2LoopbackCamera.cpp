#include "linux/vcam/V4l2LoopbackCamera.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "linux/driver/LoopbackModule.h"

namespace quorvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLoopbackRepeat{250};
/// Half a frame. Pictures that come in a burst would overrun the buffers that readers look at.
constexpr milliseconds kShortestShow{16};
constexpr milliseconds kSeekAgain{1000};
constexpr milliseconds kSeekAtLeast{10000};
constexpr milliseconds kReleaseFor{10000};

constexpr const char* kNoDevice =
    "There is no v4l2loopback device named \"Quorvex Camera\": choose Re-install extension in the "
    "tray's menu, or run pkexec /usr/libexec/quorvex-camera/setup-driver install";

const char* nameOf(RawVideoFormat format) {
  switch (format) {
    case RawVideoFormat::nv12:
      return "NV12";
    case RawVideoFormat::i420:
      return "I420";
    case RawVideoFormat::yuy2:
      return "YUYV";
  }
  return "";
}

}  // namespace

V4l2LoopbackCamera::V4l2LoopbackCamera(RawVideoFormat format,
                                       std::function<void(std::string_view)> logLine)
    : wanted(format), log(std::move(logLine)), wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wakeUp) {
    setUnavailable(std::string("The video device cannot be fed: ") + std::strerror(errno));
    return;
  }
  seek();
  try {
    feeder = std::jthread([this](const std::stop_token& stop) { feed(stop); });
  } catch (const std::system_error& error) {
    device.reset();
    setUnavailable(std::string("The camera's thread cannot be had: ") + error.what());
  }
}

V4l2LoopbackCamera::~V4l2LoopbackCamera() {
  feeder.request_stop();
  wake();
}

void V4l2LoopbackCamera::deliver(const CMSampleBuffer& sample) {
  latest.put(sample.imageBuffer);
  delivered = true;
  wake();
}

void V4l2LoopbackCamera::release() {
  if (!feeder.joinable()) return;
  releasing = true;
  wake();
  releasing.wait(true);
}

void V4l2LoopbackCamera::wake() const {
  // It fails only when a wake-up is pending already.
  if (wakeUp) (void)::eventfd_write(wakeUp.get(), 1);
}

void V4l2LoopbackCamera::feed(const std::stop_token& stop) {
  pthread_setname_np(pthread_self(), "qxc-v4l2");
  while (!stop.stop_requested()) {
    waitForWork();
    if (releasing) letGo();
    takeChanges();
    if (device)
      show();
    else if (steady_clock::now() >= seekAgain)
      seek();
  }
}

/// Returns when a picture came or is due, readers came or went, nodes of video devices changed, or
/// it is time to look for a device.
void V4l2LoopbackCamera::waitForWork() {
  const auto due = device ? shown + (delivered ? kShortestShow : kLoopbackRepeat) : seekAgain;
  const auto now = steady_clock::now();
  const auto wait = std::max(std::chrono::ceil<milliseconds>(due - now), milliseconds{0});
  std::array<pollfd, 3> watched{{{wakeUp.get(), POLLIN, 0},
                                 {nodes.descriptor(), POLLIN, 0},
                                 {device ? device->readerEvents() : -1, POLLPRI, 0}}};
  if (::poll(watched.data(), watched.size(), static_cast<int>(wait.count())) < 0) return;
  eventfd_t wakeUps = 0;
  (void)::eventfd_read(wakeUp.get(), &wakeUps);
}

void V4l2LoopbackCamera::takeChanges() {
  const auto changes = nodes.take();
  // What is released is left alone until its driver has made it anew.
  if (released ? changes.created : changes.any) seekAgain = steady_clock::now();
  if (device) hasReaders = device->takeReaderEvents();
}

void V4l2LoopbackCamera::letGo() {
  device.reset();
  released = true;
  lose("It was released for its driver to be loaded anew; it is fed again when that has happened",
       false);
  seekAgain = steady_clock::now() + kReleaseFor;
  releasing = false;
  releasing.notify_all();
}

void V4l2LoopbackCamera::seek() {
  released = false;
  const auto found = LoopbackModule::findCamera();
  if (!found) {
    lose(kNoDevice, false);
    if (nodes.descriptor() >= 0) seekAgain = steady_clock::now() + kSeekAtLeast;
    return;
  }
  V4l2LoopbackDevice::Obstacle problem;
  path = found->node;
  device = V4l2LoopbackDevice::open(path, wanted, *latest.get(), &problem);
  if (!device) return lose(problem.text, problem.fedByAnother);
  shown = steady_clock::now();
  hasReaders = device->takeReaderEvents();
  if (device->format() != wanted)
    log("virtual camera: " + path + " stays with " + nameOf(device->format()) + " instead of " +
        nameOf(wanted) + " as a program has it open: close all that do, then start again");
  setAvailable();
}

void V4l2LoopbackCamera::show() {
  const auto now = steady_clock::now();
  if (now < shown + (delivered ? kShortestShow : kLoopbackRepeat)) return;
  delivered = false;
  if (device->show(*latest.get())) {
    shown = now;
    return;
  }
  const std::string reason = std::strerror(errno);
  device.reset();
  lose(path + " takes no pictures any more (" + reason + "); it is looked for again", false);
}

void V4l2LoopbackCamera::lose(std::string why, bool isFedByAnother) {
  hasReaders = false;
  // The kernel tells of nodes that come and go, and of nothing that happens to one that is there.
  seekAgain = steady_clock::now() + kSeekAgain;
  setUnavailable(std::move(why), isFedByAnother);
}

}  // namespace quorvex
