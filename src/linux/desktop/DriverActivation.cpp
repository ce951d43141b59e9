#include "linux/desktop/DriverActivation.h"

#include <unistd.h>

#include <QFile>
#include <QString>
#include <QStringList>
#include <utility>

namespace quorvex {
namespace {

constexpr const char* kErrorDomain = "com.tessaly.quorvexcamera.driver";
constexpr const char* kVerb = "install";

// The codes of errors: those of the program, of pkexec(1), and our own.
constexpr int kDismissed = 126;
constexpr int kNotAuthorized = 127;
constexpr int kProgramMissing = 4;
constexpr int kNotStarted = 5;
constexpr int kCancelled = 6;

}  // namespace

DriverActivation::DriverActivation(DispatchQueue& main, Wiring callbacks, std::string setupProgram,
                                   std::vector<std::string> rootLauncher)
    : mainQueue(main),
      wiring(std::move(callbacks)),
      program(std::move(setupProgram)),
      launcher(std::move(rootLauncher)) {}

DriverActivation::~DriverActivation() {
  if (!underWay()) return;
  // What waits for the user's password is not ours to kill; ending it here would wait for it.
  process->disconnect();
  (void)process.release();
}

bool DriverActivation::underWay() const {
  return process && process->state() != QProcess::NotRunning;
}

std::vector<std::string> DriverActivation::rootLauncher() {
  return ::geteuid() == 0 ? std::vector<std::string>() : std::vector<std::string>{"pkexec"};
}

void DriverActivation::answer(Answer call) {
  mainQueue.async([weak = requester, call = std::move(call)] {
    if (const auto delegate = weak.lock()) call(*delegate);
  });
}

void DriverActivation::fail(int code, const std::string& description, const std::string& userInfo) {
  answer([error = SystemExtensionError{kErrorDomain, code, description, "{" + userInfo + "}"}](
             auto& delegate) { delegate.requestDidFail(error); });
}

void DriverActivation::submitActivationRequest(
    const std::string&, std::weak_ptr<SystemExtensionRequestDelegate> delegate) {
  if (underWay()) return;
  using Delegate = SystemExtensionRequestDelegate;
  requester = std::move(delegate);
  const auto asked = requester.lock();
  if (asked && LoopbackModule::findCamera() &&
      asked->actionForReplacingExtension() == Delegate::ReplacementAction::cancel)
    return fail(kCancelled, "The extension is there already and stays as it is", "");
  if (const auto reason = wiring.begin()) return fail(kCancelled, *reason, "");
  if (!QFile::exists(QString::fromStdString(program)))
    return fail(kProgramMissing, program + " is not installed; install the package quorvex-camera",
                "");
  start();
  if (!launcher.empty())
    answer([](Delegate& controller) { controller.requestNeedsUserApproval(); });
}

void DriverActivation::start() {
  QStringList command;
  for (const auto& word : launcher) command << QString::fromStdString(word);
  command << QString::fromStdString(program) << kVerb;
  process = std::make_unique<QProcess>();
  QObject::connect(process.get(), &QProcess::finished, process.get(),
                   [this](int code, QProcess::ExitStatus status) {
                     end(status == QProcess::NormalExit ? code : -1);
                   });
  QObject::connect(process.get(), &QProcess::errorOccurred, process.get(),
                   [this](QProcess::ProcessError error) {
                     if (error == QProcess::FailedToStart) end(kNotStarted);
                   });
  process->start(command.takeFirst(), command);
}

void DriverActivation::end(int exitCode) {
  const QString output = QString::fromLocal8Bit(process->readAllStandardError()).simplified();
  const std::string said = output.toStdString();
  using End = DriverSetup::End;
  const bool finished = exitCode == static_cast<int>(End::done);
  if (finished || exitCode == static_cast<int>(End::afterRestart))
    return answer(
        [result = finished ? 0 : 1](auto& delegate) { delegate.requestDidFinish(result); });
  const std::string byHand = "sudo " + program + " " + kVerb;
  std::string description = said.empty() ? program + " ended with code " +
                                               std::to_string(exitCode) + "; look at: journalctl -b"
                                         : said;
  if (exitCode == kNotStarted)
    description = launcher.empty() ? program + " cannot be run; install the package quorvex-camera"
                                   : "pkexec is not installed; install it, or run: " + byHand;
  if (!launcher.empty() && exitCode == kDismissed)
    description = "The request was dismissed; choose Re-install extension to be asked again";
  if (!launcher.empty() && exitCode == kNotAuthorized)
    description = "This user may not set the camera up; ask who may to run: " + byHand;
  fail(exitCode, description, said);
}

}  // namespace quorvex
