#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace quorvex::test {

/// A cable between two network devices of its own, which can be moved to other namespaces: carries
/// whole IP packets, as well as it is told to. Any thread may call it; what fails throws
/// std::system_error.
class LossyLink {
 public:
  struct Quality {
    bool plugged = true;  ///< both devices notice; what is on its way is lost
    int lossPercent = 0;  ///< each way, by chance
    std::chrono::milliseconds delay{};
    std::set<std::uint16_t> ports{};  ///< carries only what comes from one of them, or goes to it
  };

  LossyLink();

  /// The first name of an end's device, in the namespace of the constructor's thread.
  [[nodiscard]] const std::string& device(std::size_t end) const { return ends.at(end).name; }

  void become(const Quality& newQuality);

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
  std::mutex mutex;
  Quality quality;  ///< by mutex
  std::jthread thread;
};

}  // namespace quorvex::test
