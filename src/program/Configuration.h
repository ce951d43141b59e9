#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "support/ServiceEndpoints.h"

namespace quorvex {

/// One deployment value: how it is named in a settings file, in the environment and as an option.
struct Setting {
  const char* key;
  const char* variable;
  const char* option;
  const char* valueName;
  const char* description;
  const char* builtIn;
  const char* secureScheme;  ///< what its URL must begin with; none for a host or mail address
  const char* localScheme;   ///< allowed instead toward this very machine
  std::string ServiceEndpoints::*field;
  bool servedByDemo;  ///< the demo's own service decides it
};

[[nodiscard]] const std::vector<Setting>& settings();

/// Where settings may come from, each source outdoing those before it.
struct ConfigurationSources {
  std::string systemFile = "/etc/quorvex-camera.conf";  ///< may be missing
  std::string userFile;                                 ///< may be missing, unless it was asked for
  bool userFileMustExist = false;
  std::function<std::optional<std::string>(const char* name)> environment;
  std::map<std::string, std::string> commandLine;  ///< by key
};

struct ConfigurationProblem {
  std::string message;  ///< names the source, the setting and the mend
};

/// The deployment values in force, or the first thing wrong with them.
[[nodiscard]] std::variant<ServiceEndpoints, ConfigurationProblem> readConfiguration(
    const ConfigurationSources& sources);

/// Whether the host of `url` is this very machine.
[[nodiscard]] bool isLoopback(const std::string& url);

}  // namespace quorvex
