#include "program/DoctorChecks.h"

#include <unistd.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QSysInfo>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>

#include "linux/cameras/V4l2Camera.h"
#include "linux/desktop/SecretServiceKeyStore.h"
#include "linux/driver/DeviceUsers.h"
#include "linux/driver/DriverSetup.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/vcam/PipeWireGraph.h"
#include "log/HostLog.h"

namespace quorvex {
namespace {

constexpr Seconds kServicePatience{5};
constexpr std::chrono::seconds kPipeWirePatience{2};
constexpr int kSecretServicePatienceMs = 2000;

using Findings = std::vector<Finding>;

/// What a finding is about.
struct Subject {
  const char* name;
  const char* title;

  [[nodiscard]] Finding ok(std::string text) const {
    return {name, title, Finding::State::ok, std::move(text), {}};
  }
  [[nodiscard]] Finding note(std::string text, std::string mend = {}) const {
    return {name, title, Finding::State::note, std::move(text), std::move(mend)};
  }
  [[nodiscard]] Finding problem(std::string text, std::string mend) const {
    return {name, title, Finding::State::problem, std::move(text), std::move(mend)};
  }
  /// Of a line that reads "what is wrong: its mend", or has another separator there.
  [[nodiscard]] Finding problemOf(const std::string& line, const std::string& separator) const {
    const auto end = line.rfind(separator);
    if (end == std::string::npos) return problem(line, "");
    std::string mend = line.substr(end + separator.size());
    if (!mend.empty()) mend[0] = static_cast<char>(std::toupper(mend[0]));
    return problem(line.substr(0, end), mend);
  }
};

constexpr Subject kProgram{"program", "Program"};
constexpr Subject kKernel{"kernel", "Kernel"};
constexpr Subject kWebcam{"webcam", "Webcam"};
constexpr Subject kDriver{"v4l2-driver", "V4L2 driver"};
constexpr Subject kCamera{"v4l2-camera", "V4L2 camera"};
constexpr Subject kListing{"v4l2-listing", "V4L2 listing"};
constexpr Subject kUsers{"v4l2-users", "V4L2 users"};
constexpr Subject kPipeWire{"pipewire", "PipeWire"};
constexpr Subject kPipeWireCamera{"pipewire-camera", "PipeWire camera"};
constexpr Subject kWeb{"service-web", "Service, web"};
constexpr Subject kApi{"service-api", "Service, API"};
constexpr Subject kKeyStore{"key-store", "Key store"};
constexpr Subject kTray{"tray", "Tray"};
constexpr Subject kSystemFile{"settings-system", "System settings"};
constexpr Subject kUserFile{"settings-user", "User settings"};
constexpr Subject kVariables{"settings-variables", "Variables"};
constexpr Subject kSaved{"settings-saved", "Saved settings"};

std::string joined(const std::vector<std::string>& parts, const char* between) {
  std::string all;
  for (const auto& part : parts) all += (all.empty() ? "" : between) + part;
  return all;
}

Findings programFindings() {
  return {kProgram.ok(std::string("Quorvex Camera " QUORVEX_VERSION " (" QUORVEX_BUILD ") on ") +
                      QSysInfo::prettyProductName().toStdString() + ", log " + hostLogPath())};
}

Findings webcamFindings() {
  std::vector<std::string> obstacles;
  V4l2Camera cameras([&](std::string_view line) { obstacles.emplace_back(line); });
  Findings findings;
  for (const auto& camera : cameras.captureDevices()) {
    const std::string users = programsUsing(camera.uniqueID);
    findings.push_back(kWebcam.ok(camera.name + ", " + camera.uniqueID +
                                  (users.empty() ? "" : ", open in " + users)));
  }
  for (const auto& obstacle : obstacles) findings.push_back(kWebcam.problemOf(obstacle, ": "));
  if (findings.empty())
    findings = {kWebcam.problem("none is there",
                                "Plug one in, or try it out with quorvex-camera --camera pattern")};
  return findings;
}

/// What the program can do about it by itself.
std::string reinstall() {
  return std::string("Choose Re-install extension in the tray's menu, or run: pkexec ") +
         kDriverSetupProgram + " install";
}

std::string optionsOf(const LoopbackModule& module) {
  std::vector<std::string> parts;
  for (const char* name : {"exclusive_caps", "max_buffers"}) {
    std::string value;
    if (std::ifstream(std::string("/sys/module/v4l2loopback/parameters/") + name) >> value)
      parts.push_back(std::string(name) + "=" + value);
  }
  for (const auto& other : module.otherOptions)
    parts.push_back(other.file.string() + " has options for it" +
                    (other.label.empty() ? "" : " (\"" + other.label + "\")"));
  return parts.empty() ? "" : "; " + joined(parts, ", ");
}

Finding kernelFinding(const LoopbackModule& module) {
  const std::string kernel = module.kernel + ", Secure Boot ";
  if (!module.secureBoot) return kKernel.ok(kernel + "off");
  if (module.loaded) return kKernel.ok(kernel + "on");
  return kKernel.note(kernel + "on: it loads signed drivers only",
                      "If it refuses v4l2loopback: " + module.keyRefusal());
}

Finding driverFinding(const LoopbackModule& module) {
  if (module.loaded)
    // Drivers before 0.13 do not tell their version.
    return kDriver.ok("v4l2loopback" + (module.version.empty() ? "" : " " + module.version) +
                      " is loaded" + optionsOf(module));
  if (const std::string obstacle = module.obstacle(); !obstacle.empty())
    return kDriver.problemOf(obstacle, "; ");
  return kDriver.problem("v4l2loopback is installed but not loaded", reinstall());
}

Findings deviceFindings(const LoopbackModule::Device& device) {
  Findings findings;
  if (::access(device.node.c_str(), R_OK | W_OK) != 0 && errno == EACCES)
    findings.push_back(kCamera.problem(device.node + " may not be used by this user",
                                       "sudo usermod -aG video $USER, and log in again"));
  else
    findings.push_back(kCamera.ok(device.node));
  if (device.exclusive)
    findings.push_back(kListing.ok("programs list it while Quorvex Camera runs"));
  else
    findings.push_back(kListing.problem(
        "browsers and others leave it out, as it has no exclusive_caps", reinstall()));
  const std::string users = programsUsing(device.node);
  findings.push_back(kUsers.note(users.empty() ? "no program that this user may see has it open"
                                               : "open in " + users));
  return findings;
}

Findings pipeWireFindings() {
  std::string obstacle;
  const auto graph = PipeWireGraph::ask(kPipeWirePatience, &obstacle);
  if (!graph) return {kPipeWire.problemOf(obstacle, ": ")};
  if (!graph->sessionManager)
    return {kPipeWire.problem("it runs without a session manager, so that programs get no camera",
                              "systemctl --user start wireplumber")};
  const Finding daemon = kPipeWire.ok("it answers");
  if (!graph->camera)
    return {daemon, kPipeWireCamera.note("not there; it is while Quorvex Camera runs")};
  return {daemon,
          kPipeWireCamera.ok("there, " + (graph->readers.empty()
                                              ? "nobody reads it"
                                              : "read by " + joined(graph->readers, ", ")))};
}

/// Why secrets can be neither had nor kept.
Finding keyStoreMissing(const char* consequence) {
  auto bus = QDBusConnection::sessionBus();
  const QString name = "org.freedesktop.secrets";
  if (!bus.isConnected() || !bus.interface()->isServiceRegistered(name))
    return kKeyStore.note("no Secret Service runs",
                          std::string("Start GNOME Keyring, KWallet or KeePassXC") + consequence);
  auto question = QDBusMessage::createMethodCall(name, "/org/freedesktop/secrets",
                                                 "org.freedesktop.Secret.Service", "ReadAlias");
  question << QString("default");
  if (bus.call(question, QDBus::Block, kSecretServicePatienceMs).type() ==
      QDBusMessage::ReplyMessage)
    return kKeyStore.note(
        "the Secret Service has no default keyring",
        std::string("Make one named Login in Passwords and Keys (seahorse)") + consequence);
  return kKeyStore.problem("the Secret Service does not answer",
                           std::string("Restart it, or log in again") + consequence);
}

Findings keyStoreFindings() {
  constexpr const char* kConsequence = "; before that a sign-in ends with the program";
  SecretServiceKeyStore store("doctor", [](std::string_view) {});
  std::string nothing;
  switch (store.SecItemCopyMatching("doctor", &nothing)) {
    case kNoError:
    case errSecItemNotFound:
      return {kKeyStore.ok("the Secret Service answers")};
    case errSecInteractionNotAllowed:
      return {kKeyStore.note("the Secret Service is locked",
                             std::string("Unlock the login keyring") + kConsequence)};
    default:
      return {keyStoreMissing(kConsequence)};
  }
}

Findings trayFindings() {
  const auto bus = QDBusConnection::sessionBus();
  if (bus.isConnected() && bus.interface()->isServiceRegistered("org.kde.StatusNotifierWatcher"))
    return {kTray.ok("there")};
  if (!bus.isConnected()) return {kTray.note("there is no session bus")};
  return {kTray.note("this desktop has none",
                     "On GNOME switch the extension AppIndicator on; without a tray the window "
                     "minimises instead of closing")};
}

Finding fileFinding(const Subject& subject, const std::string& path, bool mustExist) {
  if (!mustExist && !std::filesystem::exists(path)) return subject.note(path + " is not there");
  const auto read = readConfiguration({.systemFile = "",
                                       .userFile = path,
                                       .userFileMustExist = true,
                                       .environment = [](const char*) { return std::nullopt; },
                                       .commandLine = {}});
  if (const auto* problem = std::get_if<ConfigurationProblem>(&read))
    return subject.problem(problem->message, "Correct it, or remove the file");
  return subject.ok(path + " is read");
}

/// Read here, as the host would put a damaged file aside.
Finding savedFinding(const std::string& path) {
  if (!std::filesystem::exists(path)) return kSaved.note(path + " is not there");
  std::ifstream file(path, std::ios::binary);
  if (!file) return kSaved.problem(path + " cannot be read", "sudo chown $USER " + path);
  if (nlohmann::json::parse(file, nullptr, false).is_object()) return kSaved.ok(path + " is read");
  return kSaved.problem(path + " is damaged",
                        "Remove it, or let Quorvex Camera put it aside at its next start");
}

Findings settingsFindings(const DoctorsView& view) {
  Findings findings{
      fileFinding(kSystemFile, view.settings.systemFile, false),
      fileFinding(kUserFile, view.settings.userFile, view.settings.userFileMustExist)};
  const auto read = readConfiguration({.systemFile = "",
                                       .userFile = "",
                                       .environment = view.settings.environment,
                                       .commandLine = {}});
  if (const auto* problem = std::get_if<ConfigurationProblem>(&read))
    findings.push_back(kVariables.problem(problem->message, "Correct it, or unset the variable"));
  findings.push_back(savedFinding(view.savedSettings));
  return findings;
}

HttpResult fetch(const DoctorsView& view, const std::string& url) {
  const auto answer = std::make_shared<std::promise<HttpResult>>();
  auto coming = answer->get_future();
  QtHttpClient http(view.network);
  HttpRequest request;
  request.url = url;
  request.timeout = kServicePatience;
  http.send(std::move(request),
            [answer](HttpResult result) { answer->set_value(std::move(result)); });
  return coming.get();
}

Findings serviceFindings(const DoctorsView& view, const Subject& subject,
                         std::string ServiceEndpoints::*base) {
  const auto configured = readConfiguration(view.settings);
  const auto* endpoints = std::get_if<ServiceEndpoints>(&configured);
  if (!endpoints)
    return {subject.problem("not asked, as the settings cannot be used", "See the settings below")};
  const std::string& url = endpoints->*base;
  if (url.ends_with(".example"))
    return {subject.problem("no service is set", "Give web_base, api_base and socket_base in " +
                                                     view.settings.userFile +
                                                     ", or try it out with quorvex-camera --demo")};
  const HttpResult result = fetch(view, url + (url.ends_with('/') ? "" : "/"));
  if (result.error && (result.error->find("SSL") != std::string::npos ||
                       result.error->find("TLS") != std::string::npos))
    return {subject.problem(*result.error,
                            "Check this machine's date and that ca-certificates is "
                            "installed; else the service's certificate is wrong")};
  if (result.error)
    return {subject.problem(*result.error, "Check the network and the address in the settings")};
  const std::string answers = url + " answers, HTTP status " + std::to_string(result.status);
  if (result.status >= 500) return {subject.problem(answers, "Try again in some minutes")};
  return {subject.ok(answers)};
}

}  // namespace

Findings driverFindings(const LoopbackModule& module) {
  Findings findings{kernelFinding(module), driverFinding(module)};
  if (!module.loaded) return findings;
  if (const auto* device = module.camera()) {
    for (auto& finding : deviceFindings(*device)) findings.push_back(std::move(finding));
  } else {
    findings.push_back(
        kCamera.problem("the driver has no device named \"Quorvex Camera\"", reinstall()));
  }
  return findings;
}

std::vector<Check> doctorChecks(const DoctorsView& view) {
  const auto of = [](const Subject& subject, std::function<Findings()> find) {
    return Check{subject.name, subject.title, std::move(find)};
  };
  return {
      of(kProgram, programFindings),
      of(kWebcam, webcamFindings),
      of(kDriver, [] { return driverFindings(LoopbackModule::read()); }),
      of(kPipeWire, pipeWireFindings),
      of(kWeb, [view] { return serviceFindings(view, kWeb, &ServiceEndpoints::webBase); }),
      of(kApi, [view] { return serviceFindings(view, kApi, &ServiceEndpoints::apiBase); }),
      of(kKeyStore, keyStoreFindings),
      of(kTray, trayFindings),
      of(kSaved, [view] { return settingsFindings(view); }),
  };
}

}  // namespace quorvex
