#include "linux/cameras/FrameLedger.h"

namespace quorvex {

void FrameLedger::painted(std::uint32_t number, std::int64_t time) {
  std::lock_guard hold(mutex);
  entries[number % kCapacity] = {number, time};
}

std::optional<std::int64_t> FrameLedger::paintTime(std::uint32_t number) const {
  std::lock_guard hold(mutex);
  const Entry& entry = entries[number % kCapacity];
  return entry.number == number ? entry.time : std::nullopt;
}

}  // namespace quorvex
