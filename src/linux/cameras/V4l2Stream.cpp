#include "linux/cameras/V4l2Stream.h"

#include <linux/videodev2.h>
#include <poll.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>

#include "linux/cameras/CameraError.h"
#include "linux/cameras/CameraThread.h"
#include "linux/cameras/V4l2Pixels.h"

namespace quorvex {
namespace {

constexpr int kPollMilliseconds = 100;
constexpr std::int64_t kOldestNanoseconds = 2'000'000'000;
constexpr unsigned kLargestSide = 8192;

v4l2_buffer emptyBuffer(unsigned index) {
  v4l2_buffer buffer{};
  buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  buffer.memory = V4L2_MEMORY_MMAP;
  buffer.index = index;
  return buffer;
}

// Some drivers stamp by another clock, or by none.
std::int64_t captureTimeOf(const v4l2_buffer& buffer) {
  const std::int64_t now = monotonicNow();
  const std::int64_t stamp = buffer.timestamp.tv_sec * std::int64_t{1'000'000'000} +
                             buffer.timestamp.tv_usec * std::int64_t{1'000};
  const bool isMonotonic =
      (buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
  return isMonotonic && stamp <= now && now - stamp < kOldestNanoseconds ? stamp : now;
}

}  // namespace

V4l2Stream::V4l2Stream(const std::string& path, const CaptureFormat& format, int fps)
    : device(path) {
  setFormat(format);
  setRate(fps);
  try {
    mapBuffers();
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    device.demand(VIDIOC_STREAMON, &type, "starting its stream");
  } catch (const CameraError&) {
    unmapBuffers();
    throw;
  }
}

V4l2Stream::~V4l2Stream() {
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  (void)device.control(VIDIOC_STREAMOFF, &type);  // a device that is gone has stopped already
  unmapBuffers();
}

void V4l2Stream::setFormat(const CaptureFormat& format) {
  v4l2_format wanted{};
  wanted.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  v4l2_pix_format& pixels = wanted.fmt.pix;
  pixels.width = format.width;
  pixels.height = format.height;
  pixels.pixelformat = format.pixelFormat;
  pixels.field = V4L2_FIELD_NONE;
  device.demand(VIDIOC_S_FMT, &wanted, "setting its format");
  const bool sane = std::clamp(pixels.width, 1u, kLargestSide) == pixels.width &&
                    std::clamp(pixels.height, 1u, kLargestSide) == pixels.height;
  if (!sane || pixels.pixelformat != format.pixelFormat) {
    throw CameraError(device.path() + " was asked for " + std::to_string(format.width) + "x" +
                      std::to_string(format.height) + " " + pixelFormatName(format.pixelFormat) +
                      " and set " + std::to_string(pixels.width) + "x" +
                      std::to_string(pixels.height) + " " + pixelFormatName(pixels.pixelformat) +
                      ": close other programs that use it, or name another camera");
  }
  // A size next to the one wanted is still a picture.
  pixelFormat = pixels.pixelformat;
  bytesPerLine = static_cast<int>(pixels.bytesperline);
  converted = I420Picture(static_cast<int>(pixels.width), static_cast<int>(pixels.height));
}

// Left to the driver where it cannot be set: a camera at its own rate is better than none.
void V4l2Stream::setRate(int fps) const {
  v4l2_streamparm parameters{};
  parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  parameters.parm.capture.timeperframe = {1, static_cast<unsigned>(std::max(fps, 1))};
  (void)device.control(VIDIOC_S_PARM, &parameters);
}

void V4l2Stream::mapBuffers() {
  v4l2_requestbuffers request{};
  request.count = kBuffers;
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  device.demand(VIDIOC_REQBUFS, &request, "giving it buffers");
  if (request.count < 2) device.fail(ENOMEM, "giving it buffers");
  for (unsigned index = 0; index < std::min(request.count, kBuffers); ++index) {
    v4l2_buffer buffer = emptyBuffer(index);
    device.demand(VIDIOC_QUERYBUF, &buffer, "finding its buffers");
    void* bytes = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED,
                       device.descriptor(), buffer.m.offset);
    if (bytes == MAP_FAILED) device.fail(errno, "mapping its buffers");
    mappings[index] = {static_cast<std::uint8_t*>(bytes), buffer.length};
    device.demand(VIDIOC_QBUF, &buffer, "queuing its buffers");
  }
}

void V4l2Stream::unmapBuffers() {
  for (const Mapping& mapping : mappings) {
    if (mapping.bytes) munmap(mapping.bytes, mapping.size);
  }
}

std::optional<std::int64_t> V4l2Stream::nextPicture(std::uint64_t& damaged) {
  pollfd readable{device.descriptor(), POLLIN, 0};
  if (poll(&readable, 1, kPollMilliseconds) <= 0) return std::nullopt;
  v4l2_buffer buffer = emptyBuffer(0);
  if (const int code = device.control(VIDIOC_DQBUF, &buffer)) {
    // Readable without a buffer is how a device says that it is gone.
    if (code == EAGAIN && (readable.revents & (POLLERR | POLLHUP)) == 0) return std::nullopt;
    device.fail(code == EAGAIN ? ENODEV : code, "delivering a picture");
  }
  if (buffer.index >= kBuffers) device.fail(EPROTO, "delivering a picture");
  const Mapping& mapping = mappings[buffer.index];
  const std::size_t count = std::min<std::size_t>(buffer.bytesused, mapping.size);
  const bool sound = (buffer.flags & V4L2_BUF_FLAG_ERROR) == 0 &&
                     convertToI420(pixelFormat, mapping.bytes, count, bytesPerLine, converted);
  if (!sound) ++damaged;
  const std::int64_t captureTime = captureTimeOf(buffer);
  device.demand(VIDIOC_QBUF, &buffer, "queuing its buffers");
  return sound ? std::optional(captureTime) : std::nullopt;
}

}  // namespace quorvex
