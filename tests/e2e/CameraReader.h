#pragma once

#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "support/Eventually.h"

namespace quorvex::test {

/// Reads the embedded camera as a program in a call would, over and over, and knows when pictures
/// flow: only those that differ from the one before count, for an idle camera repeats its last one.
class CameraReader {
 public:
  using Clock = std::chrono::steady_clock;

  /// Connects to the unix socket `path`, and again whenever that ends.
  explicit CameraReader(std::string path)
      : socketPath(std::move(path)), thread([this](const std::stop_token& stop) {
          while (!stop.stop_requested()) {
            read(stop);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
          }
        }) {}

  /// Waits until ten pictures have come within a second, all of them after `since`: the seconds
  /// from there to the first of them. None when they do not within a minute.
  [[nodiscard]] std::optional<double> flowsAgain(Clock::time_point since) const {
    Clock::time_point first;
    const auto flows = [&] {
      std::lock_guard hold(mutex);
      if (arrivals.size() < kFlow) return false;
      first = arrivals.front();
      return first >= since && arrivals.back() - first <= std::chrono::seconds(1);
    };
    const bool came = eventually(flows, std::chrono::seconds(60));
    return came ? std::optional(std::chrono::duration<double>(first - since).count())
                : std::nullopt;
  }
  /// Whether ten pictures have come within the last second.
  [[nodiscard]] bool flowing() const {
    std::lock_guard hold(mutex);
    return arrivals.size() == kFlow && Clock::now() - arrivals.front() < std::chrono::seconds(1);
  }
  /// Waits until fewer than ten pictures have come within a second.
  [[nodiscard]] bool stops(std::chrono::seconds limit) const {
    return eventually([&] { return !flowing(); }, limit);
  }

 private:
  static constexpr std::size_t kFlow = 10;

  /// Reads until the camera has nothing to say for a second.
  void read(const std::stop_token& stop) {
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket camera(io);
    boost::system::error_code refused;
    if (camera.connect(socketPath, refused)) return;
    const timeval patience{1, 0};
    const int descriptor = camera.native_handle();
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    for (char head = ' '; head != '\n';)
      if (::recv(descriptor, &head, 1, 0) <= 0) return;
    std::string picture(6 + 1280 * 720 * 3 / 2, ' '), last;  // "FRAME\n" and I420
    while (!stop.stop_requested()) {
      if (::recv(descriptor, picture.data(), picture.size(), MSG_WAITALL) != std::ssize(picture))
        return;
      if (!last.empty() && last != picture) {
        std::lock_guard hold(mutex);
        arrivals.push_back(Clock::now());
        if (arrivals.size() > kFlow) arrivals.pop_front();
      }
      last = picture;
    }
  }

  const std::string socketPath;
  mutable std::mutex mutex;
  std::deque<Clock::time_point> arrivals;  ///< of the last ten new pictures; by mutex
  std::jthread thread;
};

}  // namespace quorvex::test
