#include "linux/threads/SteadyClock.h"

#include <ctime>

namespace quorvex {

double SteadyClock::now() const {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace quorvex
