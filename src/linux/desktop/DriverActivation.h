#pragma once

#include <QProcess>
#include <functional>
#include <memory>
#include <optional>
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
    /// A request begins, and a device that will be replaced must not be held open. Answers with
    /// why there is nothing to request.
    std::function<std::optional<std::string>()> begin;
    std::function<void()> doWithout;
    std::function<void()> reconsider;
  };

  /// `main` outlives it. `launcher` runs `program` as root; nothing does where we are root.
  DriverActivation(DispatchQueue& main, Wiring wiring, std::string program = kDriverSetupProgram,
                   std::vector<std::string> launcher = rootLauncher());
  ~DriverActivation() override;

  void submitActivationRequest(const std::string& identifier,
                               std::weak_ptr<SystemExtensionRequestDelegate> delegate) override;
  void doWithout() override { wiring.doWithout(); }
  void reconsider() override { wiring.reconsider(); }

 private:
  using Answer = std::function<void(SystemExtensionRequestDelegate&)>;

  [[nodiscard]] static std::vector<std::string> rootLauncher();
  [[nodiscard]] bool underWay() const;
  void start();
  void end(int exitCode);
  void answer(Answer call);
  void fail(int code, const std::string& description, const std::string& userInfo);

  DispatchQueue& mainQueue;
  const Wiring wiring;
  const std::string program;
  const std::vector<std::string> launcher;
  std::weak_ptr<SystemExtensionRequestDelegate> requester;
  std::unique_ptr<QProcess> process;  ///< of the last request
};

}  // namespace quorvex
