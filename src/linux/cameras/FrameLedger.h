#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

namespace quorvex {

/// When each of the newest numbered frames was painted. The camera writes, the far end of the road
/// reads. Thread-safe.
class FrameLedger {
 public:
  /// How many frames it remembers: half a minute at 30 frames a second.
  static constexpr int kCapacity = 1024;

  /// `time` is monotonic, in nanoseconds.
  void painted(std::uint32_t number, std::int64_t time);

  /// None for a number that was never painted or is too old.
  [[nodiscard]] std::optional<std::int64_t> paintTime(std::uint32_t number) const;

 private:
  struct Entry {
    std::uint32_t number = 0;
    std::optional<std::int64_t> time;
  };

  mutable std::mutex mutex;
  std::array<Entry, kCapacity> entries;  // protected by mutex
};

}  // namespace quorvex
