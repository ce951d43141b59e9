#include "linux/cameras/CameraRecovery.h"

#include "linux/cameras/CameraError.h"
#include "linux/cameras/CameraThread.h"

namespace quorvex {
namespace {

constexpr std::int64_t kRetryNanoseconds = 1'000'000'000;

}  // namespace

void playUntilStopped(const std::stop_token& stop, const CameraLog& log, const std::string& name,
                      const std::function<void(const std::function<void()>& hasFrame)>& play) {
  bool lost = false;
  const auto hasFrame = [&] {
    if (lost) log(oneLine(name + " is back"));
    lost = false;
  };
  do {
    try {
      play(hasFrame);
      return;
    } catch (const CameraError& error) {
      if (!lost) log(error.what());
      lost = true;
    }
  } while (waitUntil(stop, monotonicNow() + kRetryNanoseconds));
}

}  // namespace quorvex
