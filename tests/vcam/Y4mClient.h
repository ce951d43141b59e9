#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "linux/vcam/UniqueFd.h"
#include "vcam/TestPictures.h"

namespace quorvex::test {

/// Reads the embedded camera's stream from a raw socket, and takes nothing for granted.
class Y4mClient {
 public:
  explicit Y4mClient(const std::string& path) : connection(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval patience{20, 0};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      error = errno;
  }

  /// The stream's next bytes, fewer when it ends; rests after every 16 KiB.
  Bytes read(std::size_t count, std::chrono::milliseconds rest = {}) const {
    Bytes bytes(count);
    std::size_t done = 0;
    while (done < count) {
      const auto got = ::recv(connection.get(), bytes.data() + done,
                              std::min<std::size_t>(count - done, 16384), 0);
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
      if (rest.count() > 0) std::this_thread::sleep_for(rest);
    }
    bytes.resize(done);
    return bytes;
  }

  /// The line that the stream begins with; as much as came of it when it is cut off.
  [[nodiscard]] std::string header() const {
    std::string line;
    for (Bytes byte; !line.ends_with('\n') && !(byte = read(1)).empty();)
      line += static_cast<char>(byte[0]);
    return line;
  }

  /// Waits for one frame; its picture's number.
  [[nodiscard]] int frame(std::chrono::milliseconds rest = {}) const {
    const std::string mark = "FRAME\n";
    const Bytes bytes = read(mark.size() + rawVideoBytes(RawVideoFormat::i420), rest);
    if (!std::string(bytes.begin(), bytes.end()).starts_with(mark)) return TestPictures::kGarbled;
    return TestPictures::numberIn(std::span(bytes).subspan(mark.size()), RawVideoFormat::i420);
  }

  /// Reads on to the first picture with that number or a higher one.
  [[nodiscard]] int pictureFrom(int number) const {
    int got = frame();
    while (got != TestPictures::kGarbled && got < number) got = frame();
    return got;
  }

  int error = 0;  ///< the errno that kept it from connecting; 0 when it is connected

 private:
  UniqueFd connection;
};

}  // namespace quorvex::test
