#include "program/HostProgram.h"

#include <time.h>

#include <QCoreApplication>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "linux/qt/NetworkThread.h"
#include "log/HostLog.h"
#include "program/CameraChoice.h"

namespace quorvex {
namespace {

namespace fs = std::filesystem;

constexpr int kBadOptions = 2;

std::int64_t monotonicNanoseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

}  // namespace

HostProgram::HostProgram(Setup wanted, Console& terminal)
    : setup(std::move(wanted)),
      console(terminal),
      defaults(setup.settingsPath, [say = logAndNote()](const std::string& line) { say(line); }),
      keyStore(setup.options.demo ? "demo" : setup.endpoints.webBase,
               [this, say = logAndNote()](std::string_view line) {
                 keyStoreFailed = true;
                 say(line);
               }),
      network(std::make_shared<NetworkThread>()),
      http(network),
      webSockets(network),
      ledger(std::make_shared<FrameLedger>()),
      probe(ledger),
      virtualCamera(setup.options, defaults, logAndNote()),
      extensions(mainQueue, {.begin = [this] { return virtualCamera.toldToTry(); },
                             .doWithout = [this] { virtualCamera.doWithoutVideoDevice(); },
                             .reconsider = [this] { virtualCamera.reconsider(); }}),
      cmio(virtualCamera.outputs(), logAndNote(),
           [this](const CMSampleBuffer& sample) {
             if (sample.imageBuffer)
               probe.frameDelivered(*sample.imageBuffer, monotonicNanoseconds());
           }),
      faultyCmio(setup.options.faultSocket ? std::make_unique<FaultyCoreMediaIO>(cmio) : nullptr),
      camera(std::make_shared<CountingCamera>(makeCamera(setup.options, ledger, logAndNote()),
                                              logAndNote())),
      engine(camera, setup.serviceIsLocal),
      auth(std::make_shared<AuthManager>(AuthManager::Dependencies{mainQueue, clock, http, keyStore,
                                                                   crypto, listeners, workspace,
                                                                   setup.endpoints.webBase})),
      desktop(setup.options.headless || !setup.options.command.empty()
                  ? nullptr
                  : std::make_unique<Desktop>(defaults, [this] { terminate(); })),
      delegate(std::make_shared<AppDelegate>(platform(), setup.endpoints)),
      monitor(mainQueue, clock, console, watched()) {
  if (setup.options.reportFile) mainThread.emplace(mainQueue);
}

HostProgram::~HostProgram() {
  delegate.reset();
  // What still waits in the loop may hold the engine's objects, which must go before the engine.
  QCoreApplication::processEvents();
}

std::function<void(std::string_view)> HostProgram::logAndNote() {
  return [&terminal = console](std::string_view line) {
    hostLog(line);
    terminal.note(line);
  };
}

AppDelegate::Platform HostProgram::platform() {
  return {.mainQueue = mainQueue,
          .makeSerialQueue =
              [](const std::string& label) {
                return std::make_shared<ThreadQueue>(label, ThreadQueue::Priority::userInteractive);
              },
          .backgroundQueue = background,
          .clock = clock,
          .http = http,
          .webSockets = webSockets,
          .defaults = defaults,
          .systemLog = systemLog,
          .cmio = faultyCmio ? static_cast<CoreMediaIO&>(*faultyCmio) : cmio,
          .rtcEngine = engine,
          .images = images,
          .windows = desktop ? &desktop->windows : nullptr,
          .makeMainWindow =
              desktop ? [this](AppModel& model) { return desktop->windows.makeMainWindow(model); }
                      : std::function<std::unique_ptr<Window>(AppModel&)>(),
          .openPanel = desktop ? &desktop->openPanel : nullptr,
          .auth = auth,
          .workspace = workspace,
          .extensions = extensions,
          .environment = setup.environment,
          .bundle = {.version = QUORVEX_VERSION,
                     .build = QUORVEX_BUILD,
                     .operatingSystem = QSysInfo::prettyProductName().toStdString(),
                     .path = fs::path(QCoreApplication::applicationDirPath().toStdString())
                                 .parent_path()
                                 .string(),
                     .extensionsPath = fs::path(kDriverSetupProgram).parent_path().string()},
          .terminate = [this] { terminate(); }};
}

RunMonitor::Sources HostProgram::watched() {
  RunMonitor::Sources sources;
  sources.status = [this] { return delegate->appModel().statusText.get(); };
  sources.captured = [this] { return camera->captured(); };
  sources.mainThreadStall = [this] { return mainThread ? mainThread->longestMilliseconds() : 0; };
  sources.sink = [this] { return delegate->sinkStatistics(); };
  sources.latency = [this] { return probe.summary(); };
  return sources;
}

bool HostProgram::listenForFaults() {
  const auto& path = setup.options.faultSocket;
  if (!path) return true;
  faultCommands.emplace(*faultyCmio, virtualCamera.videoDevice());
  std::string why;
  if (faultCommands->listen(*path, &why)) return true;
  console.note("quorvex-camera: --fault-socket " + *path + " cannot be had (" + why +
               "); give a path of your own that is not in use");
  return false;
}

int HostProgram::run() {
  if (!listenForFaults()) return kBadOptions;
  console.note(virtualCamera.explanation());
  console.note("Log: " + hostLogPath());
  if (camera->captureDevices().empty())
    console.note("There is no webcam; plug one in, or use --camera pattern");
  // A key store may keep its first reader waiting for seconds: that is not the main thread.
  background.async([this, manager = auth] {
    (void)manager->storedRefreshToken();
    mainQueue.async([this] {
      if (delegate) delegate->applicationDidFinishLaunching();
    });
  });
  monitor.start();
  // A status may stand for less than the second from one look to the next.
  const auto watching = delegate->appModel().observe([this](const void* field) {
    if (field != &delegate->appModel().statusText) return;
    mainQueue.async([this] {
      if (delegate) monitor.showProgress();
    });
  });
  std::unique_ptr<Timer> end;
  if (setup.options.seconds)
    end = mainQueue.after(Seconds(*setup.options.seconds), [this] { quit(); });
  QCoreApplication::exec();
  const bool reported = writeReport();
  std::fputs(("\n" + monitor.summary()).c_str(), stdout);
  return reported && (monitor.hasDelivered() || !setup.options.seconds) ? 0 : 1;
}

int HostProgram::account(const std::string& command) {
  if (command == "status") {
    const bool signedIn = auth->storedRefreshToken().has_value();
    std::puts(signedIn ? "signed in" : "signed out");
    return signedIn ? 0 : 1;
  }
  if (command == "sign-out") {
    auth->signOut();
    keyStore.finish();
    return keyStoreFailed ? 1 : 0;
  }
  if (command == "sign-in") return signIn();
  console.note("quorvex-camera: give account sign-in, account sign-out or account status");
  return kBadOptions;
}

int HostProgram::signIn() {
  const auto code = std::make_shared<int>(1);
  auth->signIn([this, code](const std::optional<AuthFailure>& failure) {
    mainQueue.async([this, code, failure] {
      if (failure)
        console.note("Sign-in failed — try again: " + description(*failure));
      else if (!keyStoreFailed)
        console.note("Signed in ✓");
      *code = failure || keyStoreFailed ? 1 : 0;
      QCoreApplication::quit();
    });
  });
  console.note("Signing in — finish in your browser…");
  QCoreApplication::exec();
  return *code;
}

void HostProgram::quit() {
  delegate->applicationWillTerminate();
  monitor.stop();
  QCoreApplication::quit();
}

void HostProgram::terminate() {
  if (!delegate->applicationShouldTerminate()) return;
  monitor.stop();
  QCoreApplication::quit();
}

void HostProgram::openWindow() {
  delegate->openWindow();
}

bool HostProgram::writeReport() const {
  if (!setup.options.reportFile) return true;
  std::ofstream file(*setup.options.reportFile, std::ios::trunc);
  file << monitor.report() << std::flush;
  if (file) return true;
  console.note("quorvex-camera: the report cannot be written to " + *setup.options.reportFile +
               "; check that its folder exists and may be written");
  return false;
}

}  // namespace quorvex
