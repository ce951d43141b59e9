#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace quorvex::test {

/// Reads the embedded camera as a program in a call would, over and over, and knows when pictures
/// flow: only those that differ from the one before count, for an idle camera repeats its last one.
class CameraReader {
 public:
  using Clock = std::chrono::steady_clock;

  /// Connects to the unix socket `path`, and again whenever that ends.
  explicit CameraReader(std::string path);

  /// Whether ten pictures have come within the last second.
  [[nodiscard]] bool flowing() const;

  /// Waits until pictures flow that all came after `since`: the seconds from there to the first of
  /// them. None when they do not within `limit`.
  [[nodiscard]] std::optional<double> flowsAgain(Clock::time_point since,
                                                 std::chrono::seconds limit) const;
  /// Waits until fewer than ten pictures have come within a second.
  [[nodiscard]] bool stops(std::chrono::seconds limit) const;

 private:
  void read(const std::stop_token& stop);
  void pictureCame();

  const std::string socketPath;
  mutable std::mutex mutex;
  std::deque<Clock::time_point> arrivals;  ///< of the last ten new pictures; by mutex
  std::jthread thread;
};

}  // namespace quorvex::test
