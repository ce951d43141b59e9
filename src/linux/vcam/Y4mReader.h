#pragma once

#include <cstdint>

#include "linux/UniqueFd.h"
#include "linux/vcam/Y4mFrames.h"

namespace quorvex {

/// One connection that is sent the stream: whole frames only, and the newest one each time the last
/// is through, so that a slow reader loses frames and never part of one. For one thread.
class Y4mReader {
 public:
  /// `connected` must be non-blocking.
  explicit Y4mReader(UniqueFd connected) : connection(std::move(connected)) {}

  [[nodiscard]] int descriptor() const { return connection.get(); }

  /// Whether a block has been begun that the connection had no room for.
  [[nodiscard]] bool waitsForRoom() const { return block != nullptr; }

  /// Sends what there is to send until the connection takes no more. False when it is broken.
  [[nodiscard]] bool send(Y4mFrames& frames);

 private:
  UniqueFd connection;
  Y4mBlock block = Y4mFrames::header();
  std::size_t sent = 0;
  std::uint64_t lastFrame = 0;
};

}  // namespace quorvex
