#include "e2e/CameraReader.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

constexpr std::size_t kFlow = 10;
constexpr std::size_t kFrameBytes = 6 + 1280 * 720 * 3 / 2;  // "FRAME\n" and I420
constexpr std::chrono::milliseconds kPatience{100};

int connectedTo(const std::string& path) {
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0)
    return descriptor;
  ::close(descriptor);
  return -1;
}

/// Bytes read, 0 at the end of the stream, -1 when nothing came in time.
ssize_t readSome(int descriptor, std::vector<char>& into) {
  pollfd watched{descriptor, POLLIN, 0};
  if (::poll(&watched, 1, static_cast<int>(kPatience.count())) <= 0) return -1;
  return std::max<ssize_t>(::read(descriptor, into.data(), into.size()), 0);
}

}  // namespace

CameraReader::CameraReader(std::string path)
    : socketPath(std::move(path)), thread([this](const std::stop_token& stop) { read(stop); }) {}

void CameraReader::read(const std::stop_token& stop) {
  std::vector<char> buffer(1 << 20);
  int descriptor = -1;
  bool inHeader = true;
  std::size_t bytes = 0;  // of the current frame
  unsigned sum = 0;
  std::int64_t lastSum = -1;  // none yet
  while (!stop.stop_requested()) {
    if (descriptor < 0) {
      descriptor = connectedTo(socketPath);
      inHeader = true;
      bytes = sum = 0;
      lastSum = -1;
      if (descriptor < 0) std::this_thread::sleep_for(kPatience);
      continue;
    }
    const ssize_t count = readSome(descriptor, buffer);
    if (count == 0) {
      ::close(descriptor);
      descriptor = -1;
    }
    if (count <= 0) continue;
    auto first = buffer.begin();
    const auto last = first + count;
    if (inHeader) {
      first = std::find(first, last, '\n');
      if (first == last) continue;
      inHeader = false;
      ++first;
    }
    while (first != last) {
      const auto part = std::min(last - first, static_cast<std::ptrdiff_t>(kFrameBytes - bytes));
      bytes += static_cast<std::size_t>(part);
      for (const auto end = first + part; first != end; ++first) sum = sum * 31 + *first;
      if (bytes < kFrameBytes) break;
      if (lastSum >= 0 && lastSum != sum) pictureCame();
      lastSum = std::exchange(sum, 0);
      bytes = 0;
    }
  }
  if (descriptor >= 0) ::close(descriptor);
}

void CameraReader::pictureCame() {
  std::lock_guard hold(mutex);
  arrivals.push_back(Clock::now());
  if (arrivals.size() > kFlow) arrivals.pop_front();
}

bool CameraReader::flowing() const {
  std::lock_guard hold(mutex);
  return arrivals.size() == kFlow && Clock::now() - arrivals.front() < std::chrono::seconds(1);
}

std::optional<double> CameraReader::flowsAgain(Clock::time_point since,
                                               std::chrono::seconds limit) const {
  std::optional<double> seconds;
  const bool came = eventually(
      [&] {
        std::lock_guard hold(mutex);
        if (arrivals.size() < kFlow || arrivals.front() < since ||
            arrivals.back() - arrivals.front() > std::chrono::seconds(1))
          return false;
        seconds = std::chrono::duration<double>(arrivals.front() - since).count();
        return true;
      },
      limit);
  return came ? seconds : std::nullopt;
}

bool CameraReader::stops(std::chrono::seconds limit) const {
  return eventually([&] { return !flowing(); }, limit);
}

}  // namespace quorvex::test
