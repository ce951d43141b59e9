#include "linux/vcam/V4l2LoopbackDevice.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {
namespace {

/// The driver's own, of the number of readers: v4l2loopback.h, which is not installed with it.
constexpr std::uint32_t kReadersChanged = V4L2_EVENT_PRIVATE_START + 0x08E00000 + 1;

struct FourCc {
  RawVideoFormat format;
  std::uint32_t code;
};
constexpr std::array<FourCc, 3> kFormats{{{RawVideoFormat::nv12, V4L2_PIX_FMT_NV12},
                                          {RawVideoFormat::yuy2, V4L2_PIX_FMT_YUYV},
                                          {RawVideoFormat::i420, V4L2_PIX_FMT_YUV420}}};

/// ioctl, begun again when a signal came. False with the errno.
bool control(int node, unsigned long request, void* argument) {
  while (::ioctl(node, request, argument) != 0)
    if (errno != EINTR) return false;
  return true;
}

v4l2_buffer bufferNumbered(unsigned index) {
  v4l2_buffer buffer{};
  buffer.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  buffer.memory = V4L2_MEMORY_MMAP;
  buffer.index = index;
  buffer.field = V4L2_FIELD_NONE;
  return buffer;
}

std::string fourCcName(std::uint32_t code) {
  std::string name;
  for (int shift = 0; shift < 32; shift += 8) {
    const char letter = static_cast<char>(code >> shift & 0x7f);
    name += letter >= ' ' && letter <= '~' ? letter : '?';
  }
  return name;
}

std::string meaningOf(int code, const std::string& path) {
  switch (code) {
    case EACCES:
    case EPERM:
      return path + " may not be used by this user: add the user to the group video with sudo " +
             "usermod -aG video $USER and log in again";
    case EBUSY:
      return path + " is in use: close the programs that have it open";
    case ENOENT:
    case ENODEV:
    case ENXIO:
      return path + " is not there any more";
    default:
      return path + " cannot be fed (" + std::strerror(code) +
             "): close the programs that have it open, and load v4l2loopback anew when that does " +
             "not help";
  }
}

UniqueFd openNode(const std::string& path) {
  return UniqueFd(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
}

}  // namespace

std::unique_ptr<V4l2LoopbackDevice> V4l2LoopbackDevice::open(const std::string& path,
                                                             RawVideoFormat wanted,
                                                             const PixelBuffer& firstPicture,
                                                             Obstacle* obstacle) {
  std::unique_ptr<V4l2LoopbackDevice> device(new V4l2LoopbackDevice(openNode(path)));
  if (device->whatItDoes() == 0U) {
    // A program that wrote to the node of an older driver leaves it as neither a camera nor
    // something to be fed. Closing it as one that feeds it mends that.
    (void)device->start();
    device.reset();
    device.reset(new V4l2LoopbackDevice(openNode(path)));
  }
  return device->begin(path, wanted, firstPicture, obstacle) ? std::move(device) : nullptr;
}

V4l2LoopbackDevice::~V4l2LoopbackDevice() {
  // Before the node is closed: the driver frees the buffers with the last one that closes it.
  for (const Mapping& mapping : mappings)
    if (mapping.bytes) ::munmap(mapping.bytes, mapping.size);
}

/// Its directions, as it says now; none with the errno.
std::optional<std::uint32_t> V4l2LoopbackDevice::whatItDoes() const {
  v4l2_capability capability{};
  if (!node || !control(node.get(), VIDIOC_QUERYCAP, &capability)) return std::nullopt;
  return capability.device_caps & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT);
}

bool V4l2LoopbackDevice::start() const {
  int type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  return control(node.get(), VIDIOC_STREAMON, &type);
}

bool V4l2LoopbackDevice::begin(const std::string& path, RawVideoFormat wanted,
                               const PixelBuffer& firstPicture, Obstacle* obstacle) {
  const auto does = whatItDoes();
  if (!does) {
    *obstacle = {meaningOf(errno, path)};
    return false;
  }
  if (*does == V4L2_CAP_VIDEO_CAPTURE) {
    *obstacle = {"Another program feeds the camera at " + path + ": end that one first", true};
    return false;
  }
  if (!setFormat(path, wanted, obstacle)) return false;
  v4l2_streamparm rate{};
  rate.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  rate.parm.output.timeperframe = {1, kVirtualCameraFrameRate};
  (void)control(node.get(), VIDIOC_S_PARM, &rate);  // what is shown to readers; nothing rests on it
  const bool mapped = mapBuffers();
  // A reader that is left from before may be looking at the buffers; they hold whole pictures then.
  if (mapped && !(*does & V4L2_CAP_VIDEO_CAPTURE))
    for (unsigned i = 0; i < buffers; ++i) writeRawVideo(firstPicture, agreed, mappings[i].bytes);
  if (!mapped || !start() || !show(firstPicture)) {
    *obstacle = {meaningOf(errno, path)};
    return false;
  }
  v4l2_event_subscription readers{};
  readers.type = kReadersChanged;
  readers.flags = V4L2_EVENT_SUB_FL_SEND_INITIAL;
  tellsReaders = control(node.get(), VIDIOC_SUBSCRIBE_EVENT, &readers);
  return true;
}

bool V4l2LoopbackDevice::setFormat(const std::string& path, RawVideoFormat wanted,
                                   Obstacle* obstacle) {
  v4l2_format format{};
  format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  v4l2_pix_format& pixels = format.fmt.pix;
  pixels.width = kVirtualCameraWidth;
  pixels.height = kVirtualCameraHeight;
  pixels.pixelformat = std::ranges::find(kFormats, wanted, &FourCc::format)->code;
  pixels.field = V4L2_FIELD_NONE;
  pixels.bytesperline = static_cast<std::uint32_t>(rawVideoStride(wanted));
  pixels.sizeimage = static_cast<std::uint32_t>(rawVideoBytes(wanted));
  // Drivers before 0.14 know this colour space only, so readers take it for what we send anyway.
  pixels.colorspace = V4L2_COLORSPACE_SRGB;
  pixels.priv = V4L2_PIX_FMT_PRIV_MAGIC;
  pixels.ycbcr_enc = V4L2_YCBCR_ENC_601;
  pixels.quantization = V4L2_QUANTIZATION_LIM_RANGE;
  if (!control(node.get(), VIDIOC_S_FMT, &format)) {
    // Since 0.14 it is busy while another program feeds it; before, it only answers differently.
    const int code = errno;
    *obstacle = {meaningOf(code, path), code == EBUSY};
    return false;
  }
  const auto* answer = std::ranges::find(kFormats, pixels.pixelformat, &FourCc::code);
  if (answer == kFormats.end() || pixels.width != kVirtualCameraWidth ||
      pixels.height != kVirtualCameraHeight ||
      pixels.bytesperline != static_cast<std::uint32_t>(rawVideoStride(answer->format))) {
    *obstacle = {path + " keeps the format of another program, " + std::to_string(pixels.width) +
                 "x" + std::to_string(pixels.height) + " " + fourCcName(pixels.pixelformat) +
                 ": close the programs that have it open"};
    return false;
  }
  agreed = answer->format;
  return true;
}

bool V4l2LoopbackDevice::mapBuffers() {
  v4l2_requestbuffers request{};
  request.count = kBuffers;
  request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  request.memory = V4L2_MEMORY_MMAP;
  if (!control(node.get(), VIDIOC_REQBUFS, &request)) return false;
  buffers = std::min(request.count, kBuffers);
  if (buffers == 0) errno = ENOBUFS;
  for (unsigned index = 0; index < buffers; ++index) {
    v4l2_buffer buffer = bufferNumbered(index);
    if (!control(node.get(), VIDIOC_QUERYBUF, &buffer)) return false;
    if (index > 0 && buffer.m.offset == mappings[0].offset) {
      buffers = index;  // fewer than it says, see `locate`
      break;
    }
    if (buffer.length < rawVideoBytes(agreed)) {
      errno = ENOBUFS;
      return false;
    }
    void* bytes = ::mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, node.get(),
                         buffer.m.offset);
    if (bytes == MAP_FAILED) return false;
    mappings[index] = {static_cast<std::uint8_t*>(bytes), buffer.length, buffer.m.offset};
  }
  return buffers > 0;
}

/// Where the picture of buffer `next` goes. Drivers before 0.14 cut the number of buffers for good
/// once a reader asks for fewer, and then give the higher numbers to the lower buffers: those are
/// left out from then on, so that no buffer is written twice in a row.
bool V4l2LoopbackDevice::locate(std::uint8_t** bytes) {
  for (;;) {
    v4l2_buffer buffer = bufferNumbered(next);
    if (!control(node.get(), VIDIOC_QUERYBUF, &buffer)) return false;
    if (buffer.m.offset == mappings[next].offset) break;
    if (next == 0) {
      errno = EPROTO;
      return false;
    }
    buffers = std::exchange(next, 0);
  }
  *bytes = mappings[next].bytes;
  return true;
}

bool V4l2LoopbackDevice::show(const PixelBuffer& picture) {
  std::uint8_t* bytes = nullptr;
  if (!locate(&bytes)) return false;
  writeRawVideo(picture, agreed, bytes);
  v4l2_buffer filled = bufferNumbered(next);
  // Never what the driver calls the image's size: older ones round it up to whole pages.
  filled.bytesused = static_cast<std::uint32_t>(rawVideoBytes(agreed));
  if (!control(node.get(), VIDIOC_QBUF, &filled)) return false;
  next = (next + 1) % buffers;
  // A courtesy that the interface asks for. Which buffer comes back means nothing: it is the one
  // just queued before 0.14, and the oldest one since.
  v4l2_buffer back = bufferNumbered(0);
  (void)control(node.get(), VIDIOC_DQBUF, &back);
  return true;
}

bool V4l2LoopbackDevice::takeReaderEvents() {
  v4l2_event event{};
  while (tellsReaders && control(node.get(), VIDIOC_DQEVENT, &event)) {
    std::uint32_t readers = 0;
    std::memcpy(&readers, &event.u, sizeof readers);
    if (event.type == kReadersChanged) read = readers > 0;
  }
  return read;
}

}  // namespace quorvex
