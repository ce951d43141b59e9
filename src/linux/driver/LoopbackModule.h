#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvex {

/// What this machine has of v4l2loopback, the driver behind the V4L2 camera, and what loading it
/// takes. A snapshot; reading it needs no privilege and changes nothing.
struct LoopbackModule {
  struct Device {
    std::string node;  ///< "/dev/video42"
    /// It poses as a webcam and nothing else (exclusive_caps): several programs list no other.
    bool exclusive = true;
  };
  /// What another program has the driver loaded with.
  struct Options {
    std::filesystem::path file;  ///< of modprobe's settings
    std::string label;           ///< its card_label; empty when it has none
  };

  std::string kernel;        ///< the running one's release
  std::string distribution;  ///< "debian", "ubuntu", "fedora", "arch", "opensuse"; or another ID
  bool built = false;        ///< for the running kernel
  bool builtForAnother = false;  ///< and not for the running one
  bool source = false;           ///< is installed, to be built for each kernel
  bool headers = false;          ///< of the running kernel are installed, which building takes
  bool secureBoot = false;
  bool loaded = false;
  std::string version;        ///< of the loaded driver: "0.12.7"
  bool makesDevices = false;  ///< at any time, as drivers from 0.13 on do
  std::optional<Device> device;
  std::vector<Options> otherOptions;

  /// Looks below `root`, which only tests set.
  [[nodiscard]] static LoopbackModule read(const std::filesystem::path& root = "/");

  /// The loaded driver's device that is labelled as the virtual camera, the first one if there are
  /// several. Opens no other device: that may wake a webcam up.
  [[nodiscard]] static std::optional<Device> findCamera(const std::filesystem::path& root = "/");

  /// The device that is labelled as the virtual camera; null when there is none.
  [[nodiscard]] const Device* camera() const { return device ? &*device : nullptr; }

  /// Why the driver cannot be loaded, and the one command that mends it here; empty when nothing
  /// is known to be in the way.
  [[nodiscard]] std::string obstacle() const;

  /// What to do where the kernel refuses the driver because of Secure Boot.
  [[nodiscard]] std::string keyRefusal() const;
};

}  // namespace quorvex
