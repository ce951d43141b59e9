#pragma once

#include <optional>
#include <string>

namespace quorvex {

/// What this build is and what it runs on.
struct BundleInformation {
  std::optional<std::string> version;
  std::optional<std::string> build;
  std::string operatingSystem;  ///< its name and version
  std::string path;             ///< the folder that it is installed in
  std::string extensionsPath;   ///< where its extensions are to be found
};

/// The "mailto" address of an e-mail to support, with the diagnostics that support asks for first.
[[nodiscard]] std::string bugReportUrl(const std::string& supportAddress,
                                       const BundleInformation& bundle, bool signedIn,
                                       const std::string& status);

}  // namespace quorvex
