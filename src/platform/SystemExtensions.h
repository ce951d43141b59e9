#pragma once

#include <memory>
#include <string>

namespace quorvex {

/// Why an extension could not be activated.
struct SystemExtensionError {
  std::string domain;
  int code = 0;
  std::string localizedDescription;  ///< for the user, with what to do
  std::string userInfo;              ///< what else is known, for the log
};

/// Hears what becomes of a request. Main thread only.
class SystemExtensionRequestDelegate {
 public:
  enum class ReplacementAction { cancel, replace };

  virtual ~SystemExtensionRequestDelegate() = default;

  /// Asked when the extension is there already.
  [[nodiscard]] virtual ReplacementAction actionForReplacingExtension() = 0;
  /// The request waits for the user's consent.
  virtual void requestNeedsUserApproval() = 0;
  /// One of these two ends a request. `result` is 0, or 1 when the extension is there no sooner
  /// than after a restart of the machine.
  virtual void requestDidFinish(int result) = 0;
  virtual void requestDidFail(const SystemExtensionError& error) = 0;
};

/// Installs what makes the system show the virtual camera, with the user's consent. Main thread
/// only.
class SystemExtensions {
 public:
  virtual ~SystemExtensions() = default;

  /// Asks for the extension to be installed or, where it is, replaced. While a request is under way
  /// another one changes nothing.
  virtual void submitActivationRequest(const std::string& identifier,
                                       std::weak_ptr<SystemExtensionRequestDelegate> delegate) = 0;

  /// The extension cannot be had: what else can show the camera may do so on its own, and requests
  /// fail at once, in later runs too, until the user wants to `reconsider`.
  virtual void doWithout() = 0;
  virtual void reconsider() = 0;
};

}  // namespace quorvex
