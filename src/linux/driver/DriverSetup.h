#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "linux/driver/LoopbackModule.h"

namespace quorvex {

/// Where the program that sets the driver up is installed: the one place from which it may ask for
/// root's rights.
constexpr const char* kDriverSetupProgram = "/usr/libexec/quorvex-camera/setup-driver";

/// Makes v4l2loopback show the virtual camera, now and after each start of the machine, and undoes
/// it. Needs root. What other programs have the driver loaded with stays as it is.
class DriverSetup {
 public:
  /// The ends are exit codes of the program, too.
  enum class End { done = 0, failed = 1, afterRestart = 3 };
  struct Outcome {
    End end = End::done;
    std::string message;  ///< what is wrong and the one thing to do, when it failed
  };
  struct CommandResult {
    int status = 0;      ///< as its exit code; 127 when it could not be started
    std::string output;  ///< what it says of errors
  };
  using Run = std::function<CommandResult(const std::vector<std::string>& command)>;

  /// Works below `folder`, "/" but for tests, and through commands that `runner` runs.
  DriverSetup(std::filesystem::path folder, Run runner);

  /// There is nothing to do where the camera is there as it should be, so it can be called again.
  [[nodiscard]] Outcome install();

  /// Leaves a driver that is loaded alone.
  [[nodiscard]] Outcome remove() const;

 private:
  [[nodiscard]] Outcome show();
  [[nodiscard]] Outcome load();
  [[nodiscard]] Outcome addDevice();
  [[nodiscard]] Outcome replaceDevice();
  [[nodiscard]] Outcome refusedBy(const std::string& loader) const;
  [[nodiscard]] Outcome inUse(const std::string& device) const;
  [[nodiscard]] Outcome optionsNeeded() const;
  [[nodiscard]] Outcome persist() const;
  [[nodiscard]] int freeNumber() const;
  [[nodiscard]] std::vector<std::string> options() const;

  const std::filesystem::path root;
  const Run run;
  LoopbackModule module;
};

}  // namespace quorvex
