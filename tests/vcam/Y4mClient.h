#pragma once

#include <optional>
#include <span>
#include <string>

#include "linux/vcam/UniqueFd.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {

/// Reads the embedded camera's stream from a raw socket, and takes nothing for granted.
class Y4mClient {
 public:
  /// What a frame turned out to be: a picture's number, or one of these.
  static constexpr int kGrey = -1;
  static constexpr int kEnd = -2;      ///< the connection ended before a byte of it
  static constexpr int kGarbled = -3;  ///< no frame, a part of one, or not as it was delivered

  explicit Y4mClient(const std::string& path);

  [[nodiscard]] bool connected() const { return static_cast<bool>(connection); }
  /// Why it is not; 0 when it is.
  [[nodiscard]] int error() const { return failure; }

  /// The line that the stream begins with.
  [[nodiscard]] std::string header();
  /// Reads one frame, waiting for it; pauses after each `pauseEvery` bytes, never when 0.
  [[nodiscard]] int frame(std::size_t pauseEvery = 0);
  /// Reads on to the first picture with that number or a higher one.
  [[nodiscard]] int pictureFrom(int number);
  /// Reads `bytes` bytes and looks at none of them.
  void skip(std::size_t bytes);

 private:
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> into, std::size_t pauseEvery);

  UniqueFd connection;
  int failure = 0;
  Bytes bytes;
};

}  // namespace quorvex::test
