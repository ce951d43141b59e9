#include "app/ExtensionActivation.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr const char* kExtensionIdentifier = "com.tessaly.quorvexcamera.extension";
constexpr const char* kLogCategory = "host";

/// The names of what is in `folder`; none when it cannot be listed.
std::string entriesOf(const std::string& folder) {
  std::string names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    names += (names.empty() ? "" : ", ") + entry->path().filename().string();
  return "(" + names + ")";
}

}  // namespace

ExtensionActivation::ExtensionActivation(Dependencies dependencies, Callbacks wiring)
    : needs(std::move(dependencies)), callbacks(std::move(wiring)) {}

void ExtensionActivation::log(SystemLog::Level level, const std::string& message) {
  needs.systemLog.write(level, kLogCategory, message);
}

void ExtensionActivation::showLater(const std::string& status) {
  needs.mainQueue.async(weakly(
      this, [status](ExtensionActivation& self) { self.callbacks.buildStatusMenu(status); }));
}

void ExtensionActivation::requestActivation() {
  needs.extensions.submitActivationRequest(kExtensionIdentifier, weak_from_this());
}

void ExtensionActivation::reinstall() {
  needs.extensions.reconsider();
  requestActivation();
}

SystemExtensionRequestDelegate::ReplacementAction
ExtensionActivation::actionForReplacingExtension() {
  return ReplacementAction::replace;
}

void ExtensionActivation::requestNeedsUserApproval() {
  hostLog("activation needs user approval");
  log(SystemLog::Level::info, "extension needs user approval in System Settings");
  showLater("Approve in System Settings ›");
}

void ExtensionActivation::requestDidFinish(int result) {
  hostLog("activation didFinishWithResult=" + std::to_string(result) +
          " (activator is blinded to its own device — relaunch required)");
  log(SystemLog::Level::info, "extension activation result: " + std::to_string(result));
  needs.mainQueue.async(weakly(this, [](ExtensionActivation& self) {
    self.callbacks.buildStatusMenu("Installed ✓ — relaunching to start…");
    self.callbacks.relaunchApp();
  }));
}

void ExtensionActivation::requestDidFail(const SystemExtensionError& error) {
  const std::string code = std::to_string(error.code);
  hostLog("activation didFailWithError domain=" + error.domain + " code=" + code);
  log(SystemLog::Level::error, "extension activation failed: domain=" + error.domain +
                                   " code=" + code + " desc=" + error.localizedDescription +
                                   " userInfo=" + error.userInfo);
  const std::string& folder = needs.bundle.extensionsPath;
  log(SystemLog::Level::error,
      "bundlePath=" + needs.bundle.path + " sysExtDir=" + folder + " entries=" + entriesOf(folder));
  showLater("Failed: " + error.localizedDescription);
  needs.extensions.doWithout();
}

void ExtensionActivation::handleDeviceMissing(bool relaunched) {
  if (relaunched) {
    hostLog("device still missing after post-activation relaunch — giving up");
    callbacks.sendDiagnosticReport(
        "device-giveup", "virtual camera not visible after activation + relaunch",
        "CMIO device absent — likely sysext activation failure or cmio daemon wedge");
    callbacks.buildStatusMenu("Virtual camera not found — check System Settings");
    return needs.extensions.doWithout();
  }
  hostLog("device missing → requesting activation (relaunch required after approval)");
  callbacks.buildStatusMenu("Approve in System Settings, then relaunch");
  requestActivation();
}

}  // namespace quorvex
