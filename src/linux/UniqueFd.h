#pragma once

#include <unistd.h>

#include <utility>

namespace quorvex {

/// Owns one file descriptor, or none (-1).
class UniqueFd {
 public:
  explicit UniqueFd(int owned = -1) : descriptor(owned) {}
  UniqueFd(UniqueFd&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
  UniqueFd& operator=(UniqueFd other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
  }
  ~UniqueFd() {
    if (descriptor >= 0) ::close(descriptor);
  }

  explicit operator bool() const { return descriptor >= 0; }
  [[nodiscard]] int get() const { return descriptor; }
  [[nodiscard]] int release() { return std::exchange(descriptor, -1); }

 private:
  int descriptor;
};

}  // namespace quorvex
