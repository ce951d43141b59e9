#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvex {

/// What this machine has of v4l2loopback, the driver behind the V4L2 camera, and what loading it
/// takes. A snapshot; reading it needs no privilege and changes nothing.
struct LoopbackModule {
  /// A device that the loaded driver has made.
  struct Device {
    std::string node;   ///< "/dev/video42"
    std::string label;  ///< as programs list it
    /// It poses as a webcam and nothing else (exclusive_caps); several programs list no other.
    bool exclusive = false;
  };
  /// A file of modprobe's settings, not ours, that has options for the driver.
  struct Options {
    std::filesystem::path file;
    std::string label;  ///< card_label, as it stands; empty when it has none
  };

  std::string kernel;        ///< the running one's release
  std::string distribution;  ///< its ID of os-release, or the first it is like: "debian"
  bool built = false;        ///< for the running kernel
  /// For another kernel only: the system was updated and waits to be started anew.
  bool builtForAnother = false;
  bool source = false;   ///< is installed, to be built for each kernel
  bool headers = false;  ///< of the running kernel are installed, which building takes
  bool secureBoot = false;
  bool loaded = false;
  std::string version;        ///< of the loaded driver: "0.12.7"
  bool makesDevices = false;  ///< on demand, as drivers from 0.13 on do
  std::vector<Device> devices;
  std::vector<Options> otherOptions;

  /// Looks below `root`, which only tests set.
  [[nodiscard]] static LoopbackModule read(const std::filesystem::path& root = "/");

  /// The device that is labelled as the virtual camera; null when there is none.
  [[nodiscard]] const Device* camera() const;

  /// Why the driver cannot be loaded, and the one command that mends it here; empty when nothing
  /// is known to be in the way.
  [[nodiscard]] std::string obstacle() const;

  /// What to do where the kernel refuses the driver because of Secure Boot.
  [[nodiscard]] std::string keyRefusal() const;
};

}  // namespace quorvex
