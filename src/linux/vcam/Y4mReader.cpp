#include "linux/vcam/Y4mReader.h"

#include <sys/socket.h>

#include <cerrno>

namespace quorvex {

bool Y4mReader::send(Y4mFrames& frames) {
  for (;;) {
    if (!block) {
      if (lastFrame == frames.number()) return true;
      lastFrame = frames.number();
      block = frames.block();
      sent = 0;
    }
    while (sent < block->size()) {
      const ssize_t bytes = ::send(connection.get(), block->data() + sent, block->size() - sent,
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
      if (bytes < 0 && errno == EINTR) continue;
      if (bytes < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
      sent += static_cast<std::size_t>(bytes);
    }
    block.reset();
  }
}

}  // namespace quorvex
