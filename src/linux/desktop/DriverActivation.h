#pragma once

#include <QProcess>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "linux/driver/DriverSetup.h"
#include "platform/DispatchQueue.h"
#include "platform/SystemExtensions.h"

namespace quorvex {

/// The virtual camera's driver as a system extension: a program of ours sets it up with root's
/// rights, which the desktop grants when the user agrees.
class DriverActivation : public SystemExtensions {
 public:
  struct Wiring {
    /// A request begins: nobody does without the driver any more, and a device that will be
    /// replaced must not be held open.
    std::function<void()> begin;
    std::function<void()> doWithout;
  };

  /// `main` outlives it. `launcher` runs `program` as root; nothing does where we are root.
  DriverActivation(DispatchQueue& main, Wiring wiring, std::string program = kDriverSetupProgram,
                   std::vector<std::string> launcher = rootLauncher());
  ~DriverActivation() override;

  void submitActivationRequest(const std::string& identifier,
                               std::weak_ptr<SystemExtensionRequestDelegate> delegate) override;
  void doWithout() override { wiring.doWithout(); }

 private:
  using Answer = std::function<void(SystemExtensionRequestDelegate&)>;

  [[nodiscard]] static std::vector<std::string> rootLauncher();
  void start();
  void end(int exitCode);
  void answer(Answer call);
  void fail(int code, const std::string& description, const std::string& userInfo);

  DispatchQueue& mainQueue;
  const Wiring wiring;
  const std::string program;
  const std::vector<std::string> launcher;
  std::weak_ptr<SystemExtensionRequestDelegate> requester;
  std::unique_ptr<QProcess> process;  ///< while a request is under way
};

}  // namespace quorvex
