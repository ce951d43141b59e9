#include "linux/vcam/EmbeddedCamera.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace quorvex {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kRepeatAfter{1000};
constexpr milliseconds kAcceptRetry{1000};
constexpr milliseconds kForever{-1};

milliseconds untilDue(steady_clock::time_point due, steady_clock::time_point now) {
  return std::max(milliseconds{0}, std::chrono::ceil<milliseconds>(due - now));
}

}  // namespace

EmbeddedCamera::EmbeddedCamera(std::string path, std::function<void(std::string_view)> logLine)
    : socketPath(std::move(path)),
      log(std::move(logLine)),
      wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  readers.reserve(kMostReaders);
  std::string problem;
  if (!wakeUp)
    problem = std::strerror(errno);
  else
    listener = PrivateSocket::open(socketPath, &problem);
  try {
    if (listener) server = std::jthread([this](const std::stop_token& stop) { serve(stop); });
  } catch (const std::system_error& error) {
    problem = error.what();
    listener.reset();
  }
  if (problem.empty())
    setAvailable();
  else
    setUnavailable("The embedded camera cannot be opened at " + socketPath + ": " + problem);
}

EmbeddedCamera::~EmbeddedCamera() {
  server.request_stop();
  wake();
}

void EmbeddedCamera::deliver(const CMSampleBuffer& sample) {
  latest.put(sample.imageBuffer);
  delivered = true;
  // A reader counted after this look finds the picture when it is taken on.
  if (readerCount > 0) wake();
}

void EmbeddedCamera::wake() const {
  // It fails only when a wake-up is pending already.
  if (wakeUp) (void)::eventfd_write(wakeUp.get(), 1);
}

void EmbeddedCamera::serve(const std::stop_token& stop) {
  pthread_setname_np(pthread_self(), "qxc-embedded");
  while (!stop.stop_requested()) {
    waitForWork();
    acceptReaders();
    takePicture();
    for (auto reader = readers.begin(); reader != readers.end();)
      reader = reader->send(frames) ? std::next(reader) : readers.erase(reader);
    readerCount = static_cast<int>(readers.size());
  }
}

/// Returns when a picture or a reader came, a connection has room or broke, or a frame is due;
/// broken connections are gone then.
void EmbeddedCamera::waitForWork() {
  const auto now = steady_clock::now();
  milliseconds timeout = readers.empty() ? kForever : untilDue(frameBegan + kRepeatAfter, now);
  std::array<pollfd, kMostReaders + 2> watched{};
  std::size_t count = 0;
  for (const auto& reader : readers)
    watched[count++] = {reader.descriptor(),
                        static_cast<short>(reader.waitsForRoom() ? POLLOUT : 0), 0};
  watched[count++] = {wakeUp.get(), POLLIN, 0};
  if (now >= acceptAgain)
    watched[count++] = {listener->descriptor(), POLLIN, 0};
  else
    timeout = timeout == kForever ? untilDue(acceptAgain, now)
                                  : std::min(timeout, untilDue(acceptAgain, now));
  if (::poll(watched.data(), count, static_cast<int>(timeout.count())) < 0) return;

  eventfd_t wakeUps = 0;
  (void)::eventfd_read(wakeUp.get(), &wakeUps);
  auto state = watched.begin();
  std::erase_if(readers, [&](const Y4mReader&) {
    return ((state++)->revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
  });
}

void EmbeddedCamera::acceptReaders() {
  if (steady_clock::now() < acceptAgain) return;
  for (;;) {
    UniqueFd connected(
        ::accept4(listener->descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!connected) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      log("virtual camera: a reader of " + socketPath + " has to wait: " + std::strerror(errno));
      acceptAgain = steady_clock::now() + kAcceptRetry;
      return;
    }
    if (readers.size() == kMostReaders) {
      log("virtual camera: a reader of " + socketPath + " was turned away; " +
          std::to_string(kMostReaders) + " are the most at once");
      continue;
    }
    readers.emplace_back(std::move(connected));
    readerCount = static_cast<int>(readers.size());
  }
}

void EmbeddedCamera::takePicture() {
  if (readers.empty()) return;
  const auto now = steady_clock::now();
  if (delivered.exchange(false) || frames.number() == 0)
    frames.show(latest.get());
  else if (now >= frameBegan + kRepeatAfter)
    frames.repeat();
  else
    return;
  frameBegan = now;
}

}  // namespace quorvex
