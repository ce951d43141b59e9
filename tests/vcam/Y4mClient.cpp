#include "vcam/Y4mClient.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>

namespace quorvex::test {
namespace {

constexpr std::string_view kFrame = "FRAME\n";

}  // namespace

Y4mClient::Y4mClient(const std::string& path) : connection(::socket(AF_UNIX, SOCK_STREAM, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const timeval patience{20, 0};
  ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
    return;
  failure = errno;
  connection = UniqueFd();
}

std::size_t Y4mClient::read(std::span<std::uint8_t> into, std::size_t pauseEvery) {
  std::size_t done = 0;
  while (done < into.size()) {
    const auto wanted = into.size() - done;
    const ssize_t got = ::recv(connection.get(), into.data() + done,
                               pauseEvery ? std::min(pauseEvery, wanted) : wanted, 0);
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
    if (pauseEvery) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return done;
}

std::string Y4mClient::header() {
  std::string line;
  for (std::uint8_t byte = 0; byte != '\n' && line.size() < 200; line += static_cast<char>(byte))
    if (read({&byte, 1}, 0) != 1) return line + "(cut off)";
  return line;
}

int Y4mClient::frame(std::size_t pauseEvery) {
  bytes.resize(kFrame.size() + rawVideoBytes(RawVideoFormat::i420));
  const auto got = read(bytes, pauseEvery);
  if (got == 0) return kEnd;
  if (got < bytes.size() || std::memcmp(bytes.data(), kFrame.data(), kFrame.size()) != 0)
    return kGarbled;
  const auto planes = std::span(bytes).subspan(kFrame.size());
  if (TestPictures::isGrey(planes, RawVideoFormat::i420)) return kGrey;
  return TestPictures::numberIn(planes, RawVideoFormat::i420).value_or(kGarbled);
}

int Y4mClient::pictureFrom(int number) {
  int got = frame();
  while (got == kGrey || (got >= 0 && got < number)) got = frame();
  return got;
}

void Y4mClient::skip(std::size_t count) {
  bytes.resize(count);
  (void)read(bytes, 0);
}

}  // namespace quorvex::test
