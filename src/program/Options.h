#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quorvex {

/// What the command line asks for. Values are checked as far as they can be without looking at the
/// machine.
struct Options {
  enum class Camera { automatic, pattern, y4m, device };
  enum class VirtualCamera { automatic, v4l2, pipewire, embedded };

  /// A command to carry out instead of running the host, "faces", "account" or "doctor" first;
  /// empty for none.
  std::vector<std::string> command;
  bool json = false;  ///< what the doctor finds, for programs
  bool demo = false;
  bool headless = false;
  std::optional<double> seconds;  ///< how long to run; until told to end when none
  std::optional<std::string> reportFile;
  Camera camera = Camera::automatic;
  std::string cameraPath;  ///< of a y4m file or a device
  VirtualCamera virtualCamera = VirtualCamera::automatic;
  bool compatibilityFormat = false;  ///< YUYV in the video device, for programs without NV12
  /// Where commands come from that make the virtual camera misbehave.
  std::optional<std::string> faultSocket;
  std::optional<std::string> configFile;
  /// Settings given on the command line, by the name they have in a settings file.
  std::map<std::string, std::string> settings;
};

/// Nothing is to be run: `text` is for the user and `exitCode` for the caller (2 for bad options).
struct OptionsExit {
  std::string text;
  int exitCode = 0;
};

/// `arguments` begin with the program's name.
[[nodiscard]] std::variant<Options, OptionsExit> parseOptions(
    const std::vector<std::string>& arguments);

}  // namespace quorvex
