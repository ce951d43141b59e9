#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "linux/driver/LoopbackModule.h"
#include "program/Configuration.h"
#include "program/Doctor.h"

namespace quorvex {

class NetworkThread;

/// What the doctor is shown of the program; the rest is the machine's.
struct DoctorsView {
  ConfigurationSources settings;
  std::string savedSettings;  ///< the file that the host keeps its settings in
  std::shared_ptr<NetworkThread> network;
};

/// Longer than any check waits for what it asks.
constexpr std::chrono::seconds kDoctorsPatience{8};

/// All there is to look at. Needs a QCoreApplication; nothing is changed by looking.
[[nodiscard]] std::vector<Check> doctorChecks(const DoctorsView& view);

/// What such a driver means for the camera that programs see through V4L2.
[[nodiscard]] std::vector<Finding> driverFindings(const LoopbackModule& module);

}  // namespace quorvex
