#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/DispatchQueue.h"
#include "platform/SystemExtensions.h"
#include "platform/SystemLog.h"
#include "support/BugReport.h"

namespace quorvex {

/// Has the virtual camera's extension installed when it is missed or asked for, and says how that
/// went. A process does not see what it has installed, so each success ends in a relaunch. Main
/// thread only.
class ExtensionActivation : public SystemExtensionRequestDelegate,
                            public std::enable_shared_from_this<ExtensionActivation> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    SystemLog& systemLog;
    SystemExtensions& extensions;
    BundleInformation bundle;
  };
  struct Callbacks {
    std::function<void(const std::string& text)> buildStatusMenu;
    std::function<void(const std::string& kind, const std::string& connectionError,
                       const std::string& note)>
        sendDiagnosticReport;
    std::function<void()> relaunchApp;
  };

  ExtensionActivation(Dependencies dependencies, Callbacks wiring);

  void requestActivation();
  /// The user asks for it, whatever was answered before.
  void reinstall();

  /// The virtual camera was looked for in vain. `relaunched`: right after an activation, so that
  /// another one would not help.
  void handleDeviceMissing(bool relaunched);

  ReplacementAction actionForReplacingExtension() override;
  void requestNeedsUserApproval() override;
  void requestDidFinish(int result) override;
  void requestDidFail(const SystemExtensionError& error) override;

 private:
  void log(SystemLog::Level level, const std::string& message);
  void showLater(const std::string& status);

  const Dependencies needs;
  const Callbacks callbacks;
};

}  // namespace quorvex
