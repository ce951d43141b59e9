#include "program/Options.h"

#include <QCommandLineParser>
#include <QFile>
#include <QString>
#include <QStringList>
#include <cmath>

#include "program/Configuration.h"

namespace quorvex {
namespace {

constexpr double kLongestRun = 1e7;

OptionsExit refused(const std::string& problem) {
  return {"quorvex-camera: " + problem + "\nTry quorvex-camera --help.\n", 2};
}

void declare(QCommandLineParser& parser) {
  parser.setApplicationDescription(
      "Sends the webcam to the face-swap service and its answer into the virtual camera \"Quorvex "
      "Camera\".");
  parser.addPositionalArgument(
      "faces", "list, add FILE, remove ID or use ID: the library of faces, instead of running.",
      "[faces …]");
  parser.addPositionalArgument(
      "account", "sign-in, sign-out or status: the user's account, instead of running.",
      "[account …]");
  parser.addPositionalArgument(
      "doctor", "tells why the camera does not show up, and what to do, instead of running.",
      "[doctor]");
  parser.addOptions({
      {"demo", "Start the local service on a free port and use it."},
      {"headless", "Run without a window."},
      {"seconds", "End by itself after <N> seconds.", "N"},
      {"report", "Write what happened to <FILE>, as JSON, at the end.", "FILE"},
      {"camera", "auto, pattern, y4m:FILE or /dev/videoN (default auto: the first webcam).",
       "CAMERA", "auto"},
      {"virtual-camera",
       "auto, v4l2, pipewire or embedded (default auto: v4l2 and pipewire, what of them can be "
       "had; "
       "in the demo embedded when neither can).",
       "OUTPUT", "auto"},
      {"compatibility-format",
       "Show the V4L2 camera in YUYV, for programs without NV12; from the start on in which no "
       "program has it open."},
      {"fault-socket",
       "Take commands that make the virtual camera misbehave on the unix socket <PATH>: a line "
       "each, refuse, stall, vanish, release or none.",
       "PATH"},
      {"json", "With doctor: what it finds as JSON."},
      {"config", "Read settings from <FILE> instead of the user's own.", "FILE"},
      {"version", "Print the version and end."},
      {"help", "Print this text and end."},
  });
  for (const Setting& setting : settings())
    parser.addOption({setting.option, setting.description, setting.valueName});
}

std::optional<OptionsExit> readCamera(const std::string& value, Options& options) {
  if (value == "auto") return std::nullopt;
  if (value == "pattern") {
    options.camera = Options::Camera::pattern;
  } else if (value.starts_with("y4m:") && value.size() > 4) {
    options.camera = Options::Camera::y4m;
    options.cameraPath = value.substr(4);
  } else if (value.starts_with("/dev/")) {
    options.camera = Options::Camera::device;
    options.cameraPath = value;
  } else {
    return refused("--camera " + value + ": give auto, pattern, y4m:FILE or /dev/videoN");
  }
  return std::nullopt;
}

std::optional<OptionsExit> readVirtualCamera(const std::string& value, Options& options) {
  if (value == "v4l2")
    options.virtualCamera = Options::VirtualCamera::v4l2;
  else if (value == "pipewire")
    options.virtualCamera = Options::VirtualCamera::pipewire;
  else if (value == "embedded")
    options.virtualCamera = Options::VirtualCamera::embedded;
  else if (value != "auto")
    return refused("--virtual-camera " + value + ": give auto, v4l2, pipewire or embedded");
  return std::nullopt;
}

std::optional<OptionsExit> readSeconds(const QString& value, Options& options) {
  bool isNumber = false;
  const double seconds = value.toDouble(&isNumber);
  if (!isNumber || !std::isfinite(seconds) || seconds <= 0 || seconds > kLongestRun)
    return refused("--seconds " + value.toStdString() + ": give a number of seconds above 0");
  options.seconds = seconds;
  return std::nullopt;
}

std::optional<OptionsExit> readCommand(const QCommandLineParser& parser, Options& options) {
  for (const QString& word : parser.positionalArguments())
    options.command.push_back(QFile::encodeName(word).toStdString());
  const std::string command = options.command.empty() ? "" : options.command.front();
  const bool isDoctor = command == "doctor";
  if (!options.command.empty() && command != "faces" && command != "account" && !isDoctor)
    return refused("there is no argument \"" + command + "\"");
  if (isDoctor && options.command.size() > 1)
    return refused("doctor " + options.command[1] + ": doctor stands alone");
  if (isDoctor && parser.isSet("demo"))
    return refused("--demo: doctor looks at the service that is set; leave out this option");
  if (!isDoctor && parser.isSet("json")) return refused("--json: give it with doctor");
  options.json = parser.isSet("json");
  return std::nullopt;
}

std::optional<OptionsExit> readSettings(const QCommandLineParser& parser, Options& options) {
  for (const Setting& setting : settings()) {
    if (!parser.isSet(setting.option)) continue;
    if (options.demo && setting.servedByDemo)
      return refused(std::string("--") + setting.option +
                     ": the demo starts a service of its own; leave out this option or --demo");
    options.settings[setting.key] = parser.value(setting.option).toStdString();
  }
  return std::nullopt;
}

}  // namespace

std::variant<Options, OptionsExit> parseOptions(const std::vector<std::string>& arguments) {
  QStringList list;
  for (const auto& argument : arguments) list << QString::fromLocal8Bit(argument.c_str());
  QCommandLineParser parser;
  parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
  declare(parser);
  if (!parser.parse(list)) return refused(parser.errorText().toStdString());
  if (parser.isSet("help")) return OptionsExit{parser.helpText().toStdString(), 0};
  if (parser.isSet("version")) return OptionsExit{"quorvex-camera " QUORVEX_VERSION "\n", 0};
  Options options;
  if (auto bad = readCommand(parser, options)) return *bad;
  options.demo = parser.isSet("demo");
  options.headless = parser.isSet("headless");
  options.compatibilityFormat = parser.isSet("compatibility-format");
  if (parser.isSet("report")) options.reportFile = parser.value("report").toStdString();
  if (parser.isSet("fault-socket"))
    options.faultSocket = parser.value("fault-socket").toStdString();
  if (parser.isSet("config")) options.configFile = parser.value("config").toStdString();
  if (parser.isSet("seconds"))
    if (auto bad = readSeconds(parser.value("seconds"), options)) return *bad;
  if (auto bad = readCamera(parser.value("camera").toStdString(), options)) return *bad;
  if (auto bad = readVirtualCamera(parser.value("virtual-camera").toStdString(), options))
    return *bad;
  if (auto bad = readSettings(parser, options)) return *bad;
  return options;
}

}  // namespace quorvex
