#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "linux/UniqueFd.h"
#include "linux/vcam/RawVideo.h"

namespace quorvex {

/// A v4l2loopback device that we feed, from its making to its end: programs see a webcam as long.
/// Pictures go through buffers that are shared with the driver, one after the other, and are never
/// written to the node: drivers from 0.14 on refuse the mixture, and older ones may need to be
/// loaded anew after it. Bound to one thread.
class V4l2LoopbackDevice {
 public:
  /// What keeps a device from being fed.
  struct Obstacle {
    std::string text;           ///< one line for a person, with the mend
    bool fedByAnother = false;  ///< programs see the camera, with the pictures of another program
  };

  /// Begins to feed the device at `path`: fixes its format and makes it a camera. While another
  /// program has it open the format stays what it was, see `format`. Null when that fails.
  [[nodiscard]] static std::unique_ptr<V4l2LoopbackDevice> open(const std::string& path,
                                                                RawVideoFormat wanted,
                                                                const PixelBuffer& firstPicture,
                                                                Obstacle* obstacle);
  ~V4l2LoopbackDevice();
  V4l2LoopbackDevice(const V4l2LoopbackDevice&) = delete;
  V4l2LoopbackDevice& operator=(const V4l2LoopbackDevice&) = delete;

  [[nodiscard]] RawVideoFormat format() const { return agreed; }

  /// Hands readers the 1280x720 420v `picture`; never waits for them, and allocates nothing. False,
  /// with the errno, when the device does not work any more.
  [[nodiscard]] bool show(const PixelBuffer& picture);

  /// A descriptor that poll() finds POLLPRI on when readers have come or gone; -1 when the driver
  /// does not tell (before 0.14).
  [[nodiscard]] int readerEvents() const { return tellsReaders ? node.get() : -1; }

  /// Whether somebody reads, by the events that have come; true when the driver does not tell.
  [[nodiscard]] bool takeReaderEvents();

 private:
  /// What v4l2loopback is best loaded with: more would add to the delay of slow readers.
  static constexpr unsigned kBuffers = 4;

  /// One of the driver's buffers, mapped.
  struct Mapping {
    std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
    std::uint32_t offset = 0;
  };

  explicit V4l2LoopbackDevice(UniqueFd opened) : node(std::move(opened)) {}

  [[nodiscard]] std::optional<std::uint32_t> whatItDoes() const;
  [[nodiscard]] bool start() const;
  [[nodiscard]] bool begin(const std::string& path, RawVideoFormat wanted,
                           const PixelBuffer& firstPicture, Obstacle* obstacle);
  [[nodiscard]] bool setFormat(const std::string& path, RawVideoFormat wanted, Obstacle* obstacle);
  [[nodiscard]] bool mapBuffers();
  [[nodiscard]] bool locate(std::uint8_t** bytes);

  UniqueFd node;
  RawVideoFormat agreed = RawVideoFormat::nv12;
  std::array<Mapping, kBuffers> mappings;
  unsigned buffers = 0;  ///< that are taken in turns
  unsigned next = 0;
  bool tellsReaders = false;
  bool read = true;
};

}  // namespace quorvex
