#include <malloc.h>

#include <QApplication>
#include <QStandardPaths>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "linux/images/VipsImageCodec.h"
#include "linux/qt/NetworkThread.h"
#include "log/HostLog.h"
#include "program/CameraChoice.h"
#include "program/Configuration.h"
#include "program/Console.h"
#include "program/DemoService.h"
#include "program/DoctorChecks.h"
#include "program/FacesCommand.h"
#include "program/HostProgram.h"
#include "program/Options.h"
#include "program/TerminationSignals.h"
#include "ui/DesktopApplication.h"

using namespace quorvex;  // NOLINT: the program is this namespace's

namespace {

constexpr int kBadOptions = 2;
constexpr const char* kApplicationId = "com.tessaly.quorvexcamera";
constexpr int kLargeBlock = 256 << 10;

/// Pictures come and go with every session. Left to itself the allocator keeps their megabytes, in
/// a heap for each thread that ever freed one.
void keepMemoryFlat() {
  ::mallopt(M_MMAP_THRESHOLD, kLargeBlock);
}

int refuse(const std::string& problem) {
  std::fprintf(stderr, "quorvex-camera: %s\n", problem.c_str());
  return kBadOptions;
}

std::string configFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString() +
         "/quorvex-camera";
}

std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

ConfigurationSources sources(const Options& options) {
  return {.userFile = options.configFile.value_or(configFolder() + "/quorvex-camera.conf"),
          .userFileMustExist = options.configFile.has_value(),
          .environment = environment,
          .commandLine = options.settings};
}

/// The demo's service and where it listens. Nothing of the demo leaves this machine: the STUN
/// server is one that does not answer here, unless another is asked for.
std::variant<ServiceEndpoints, std::string> startDemo(DemoService& service,
                                                      const Options& options) {
  auto endpoints =
      service.start(QCoreApplication::applicationDirPath().toStdString() + "/quorvex-service");
  const auto stun = options.settings.find("stun_host");
  if (auto* started = std::get_if<ServiceEndpoints>(&endpoints))
    started->stunHost = stun == options.settings.end() ? "127.0.0.1" : stun->second;
  return endpoints;
}

int facesCommand(const HostProgram::Setup& setup) {
  QtDefaults defaults(setup.settingsPath,
                      [](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
  const VipsImageCodec images;
  FaceStore store(defaults, images);
  const auto& words = setup.options.command;
  return FacesCommand(store).run({words.begin() + 1, words.end()});
}

int doctorCommand(int argc, char** argv, const HostProgram::Setup& setup) {
  const auto given = readConfiguration({.systemFile = "",
                                        .userFile = "",
                                        .environment = [](const char*) { return std::nullopt; },
                                        .commandLine = setup.options.settings});
  if (const auto* problem = std::get_if<ConfigurationProblem>(&given))
    return refuse(problem->message);
  const QCoreApplication application(argc, argv);
  const auto [findings, complete] =
      examine(doctorChecks({.settings = sources(setup.options),
                            .savedSettings = setup.settingsPath,
                            .network = std::make_shared<NetworkThread>()}),
              kDoctorsPatience);
  std::fputs((setup.options.json ? asJson(findings) : asText(findings)).c_str(), stdout);
  const int code = picturesCanPass(findings) ? 0 : 1;
  if (complete) return code;
  std::fflush(stdout);
  std::_Exit(code);
}

bool hasDisplay() {
  for (const char* variable : {"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"})
    if (!environment(variable).value_or("").empty()) return true;
  return false;
}

/// Qt ends the process by a crash when a display that is named cannot be had.
void explainFatal(QtMsgType type, const QMessageLogContext&, const QString& text) {
  std::fprintf(stderr, "%s\n", qPrintable(text));
  if (type != QtFatalMsg) return;
  std::fputs("quorvex-camera: the window cannot be shown; run with --headless\n", stderr);
  std::_Exit(kBadOptions);
}

std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv, bool withWindows) {
  if (!withWindows) return std::make_unique<QCoreApplication>(argc, argv);
  QGuiApplication::setDesktopFileName(kApplicationId);
  const auto before = qInstallMessageHandler(explainFatal);
  auto application = std::make_unique<QApplication>(argc, argv);
  qInstallMessageHandler(before);
  return application;
}

std::variant<Options, OptionsExit> parsedOptions(int argc, char** argv) {
  const QCoreApplication forItsHelp(argc, argv);
  return parseOptions({argv, argv + argc});
}

}  // namespace

int main(int argc, char** argv) {
  keepMemoryFlat();
  if (const auto file = environment("RC_LOG_FILE").value_or(""); !file.empty())
    setHostLogPath(file);
  QCoreApplication::setApplicationName("quorvex-camera");
  QCoreApplication::setApplicationVersion(QUORVEX_VERSION);
  const auto parsed = parsedOptions(argc, argv);
  if (const auto* exit = std::get_if<OptionsExit>(&parsed)) {
    std::fputs(exit->text.c_str(), exit->exitCode == 0 ? stdout : stderr);
    return exit->exitCode;
  }
  HostProgram::Setup setup;
  setup.options = std::get<Options>(parsed);
  setup.settingsPath = configFolder() + (setup.options.demo ? "/demo" : "") + "/settings.json";
  const auto command = setup.options.command;
  if (!command.empty() && command.front() == "faces") return facesCommand(setup);
  if (!command.empty() && command.front() == "doctor") return doctorCommand(argc, argv, setup);
  if (const auto problem = cameraProblem(setup.options)) return refuse(*problem);
  const auto configuration = readConfiguration(sources(setup.options));
  if (const auto* problem = std::get_if<ConfigurationProblem>(&configuration))
    return refuse(problem->message);
  setup.endpoints = std::get<ServiceEndpoints>(configuration);
  const bool withWindows = !setup.options.headless && setup.options.command.empty();
  if (withWindows && !hasDisplay()) return refuse("there is no display; run with --headless");
  TerminationSignals::block();
  const auto application = makeApplication(argc, argv, withWindows);

  DesktopApplication desktop(kApplicationId + QString(setup.options.demo ? ".Demo" : ""));
  if (withWindows && environment("RC_RELAUNCHED") != "1" && desktop.handOver()) {
    std::puts("Quorvex Camera runs already; its window has been brought forward.");
    return 0;
  }
  HostProgram* host = nullptr;
  const TerminationSignals signals([&host] {
    if (host) host->quit();
  });
  Console console;
  DemoService service;
  if (setup.options.demo) {
    auto endpoints = startDemo(service, setup.options);
    if (const auto* problem = std::get_if<std::string>(&endpoints)) return refuse(*problem);
    setup.endpoints = std::get<ServiceEndpoints>(endpoints);
  } else if (setup.endpoints.apiBase.ends_with(".example")) {
    console.note("No service is set: give web_base, api_base and socket_base in " + configFolder() +
                 "/quorvex-camera.conf, or try --demo");
  }
  setup.environment = environment;
  setup.serviceIsLocal = isLoopback(setup.endpoints.apiBase);
  HostProgram program(std::move(setup), console);
  host = &program;
  if (!command.empty()) return program.account(command.size() == 2 ? command[1] : "");
  if (withWindows) desktop.serve([&program] { program.openWindow(); });
  return program.run();
}
