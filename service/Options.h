#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "service/Faults.h"

namespace quorvex::service {

struct PictureSize {
  int width = 0;
  int height = 0;
};

struct IceServerOption {
  std::string url;
  std::optional<std::string> username;
  std::optional<std::string> credential;
};

/// What the command line asks for.
struct Options {
  std::uint16_t port = 0;                   ///< 0: any free one
  std::optional<PictureSize> size;          ///< none: as received
  std::vector<IceServerOption> iceServers;  ///< handed to the hosts
  Faults faults;                            ///< to begin with
  bool exitWithParent = false;
  bool log = false;
  bool help = false;
  bool version = false;
};

/// Reads the arguments that follow the program's name. The text is one line naming the option that
/// is wrong and what it should be.
[[nodiscard]] std::variant<Options, std::string> parseOptions(
    const std::vector<std::string>& arguments);

/// The table of options, as `--help` prints it.
[[nodiscard]] std::string optionsHelp();

}  // namespace quorvex::service
