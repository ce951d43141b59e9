#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace quorvex::test {

/// A cable between two network devices of its own, which can be moved to other namespaces: carries
/// whole IP packets, and can be pulled, lose packets and be slow. Any thread may call it; what
/// fails throws std::system_error.
class LossyLink {
 public:
  LossyLink();

  /// The first name of an end's device, in the namespace of the constructor's thread.
  [[nodiscard]] const std::string& device(std::size_t end) const { return ends.at(end).name; }

  /// Plugs it in or pulls it, as both devices notice; what is on its way then is lost.
  void plug(bool in);
  /// Loses each packet with this probability and delivers the others so much later; each way.
  void impair(int lossPercent, std::chrono::milliseconds delay);

 private:
  /// A device that goes with its descriptor.
  struct End {
    End();
    ~End();
    End(const End&) = delete;

    const int descriptor;
    std::string name;
  };

  void carry(const std::stop_token& stop);

  const std::array<End, 2> ends;
  std::atomic<bool> plugged = true;
  std::atomic<int> loss = 0;
  std::atomic<std::chrono::milliseconds> lag{};
  std::jthread thread;
};

}  // namespace quorvex::test
