#include "linux/driver/DriverSetup.h"

#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "linux/driver/DeviceUsers.h"
#include "platform/CoreMediaIO.h"

namespace quorvex {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModule = "v4l2loopback";
constexpr const char* kOptionsFile = "etc/modprobe.d/quorvex-camera.conf";
constexpr const char* kLoadFile = "etc/modules-load.d/quorvex-camera.conf";
constexpr const char* kHeader = "# Written by Quorvex Camera; goes with it.\n";

/// Webcams are numbered from 0 on as they come; they must not find their number taken.
constexpr int kFirstNumber = 42;
constexpr int kLastNumber = 63;

DriverSetup::Outcome failure(std::string message) {
  return {DriverSetup::End::failed, std::move(message)};
}

std::string oneLine(std::string text) {
  for (char& letter : text)
    if (letter == '\n') letter = ' ';
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

/// The old file or the new one stands there, whatever happens.
bool write(const fs::path& file, const std::string& text) {
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  const fs::path draft = file.string() + ".new";
  std::ofstream stream(draft, std::ios::trunc);
  stream << text << std::flush;
  if (!stream) return false;
  stream.close();
  constexpr auto kMode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                         fs::perms::others_read;
  fs::permissions(draft, kMode, error);
  if (!error) fs::rename(draft, file, error);
  return !error;
}

}  // namespace

DriverSetup::DriverSetup(fs::path folder, Run runner)
    : root(std::move(folder)), run(std::move(runner)) {}

DriverSetup::Outcome DriverSetup::install() {
  module = LoopbackModule::read(root);
  if (module.loaded || !module.builtForAnother) {
    if (auto shown = show(); shown.end != End::done) return shown;
    return persist();
  }
  auto persisted = persist();
  if (persisted.end == End::done) persisted.end = End::afterRestart;
  return persisted;
}

DriverSetup::Outcome DriverSetup::show() {
  if (module.camera() && module.camera()->exclusive) return {};
  if (const auto obstacle = module.obstacle(); !obstacle.empty()) return failure(obstacle);
  auto outcome = !module.loaded ? load()
                 : module.makesDevices
                     ? replaceDevice()
                     : [this] {
                         if (!module.otherOptions.empty()) return optionsNeeded();
                         // Its options are read when it is loaded, and never again.
                         if (run({"modprobe", "-r", kModule}).status != 0)
                           return inUse(module.camera() ? module.camera()->node : "");
                         return load();
                       }();
  if (outcome.end != End::done) return outcome;
  module = LoopbackModule::read(root);
  if (module.camera() && module.camera()->exclusive) return {};
  return failure("v4l2loopback was loaded and shows no camera; look at: sudo dmesg");
}

DriverSetup::Outcome DriverSetup::load() {
  std::vector<std::string> command{"modprobe", kModule};
  if (module.otherOptions.empty())
    for (auto& option : options()) command.push_back(std::move(option));
  if (const auto result = run(command); result.status != 0) return refusedBy(result.output);
  if (module.otherOptions.empty()) return {};
  module = LoopbackModule::read(root);
  if (module.camera() && module.camera()->exclusive) return {};
  return module.makesDevices ? replaceDevice() : optionsNeeded();
}

DriverSetup::Outcome DriverSetup::replaceDevice() {
  if (const auto* camera = module.camera())
    if (run({"v4l2loopback-ctl", "delete", camera->node}).status != 0) return inUse(camera->node);
  return addDevice();
}

DriverSetup::Outcome DriverSetup::addDevice() {
  const auto result = run({"v4l2loopback-ctl", "add", "-n", kVirtualCameraName, "-x", "1", "-b",
                           "4", "/dev/video" + std::to_string(freeNumber())});
  if (result.status == 0) return {};
  if (result.status == 127)
    return failure("v4l2loopback-ctl is not installed; install the package v4l2loopback-utils");
  return failure("v4l2loopback-ctl adds no device (" + oneLine(result.output) +
                 "); look at: sudo dmesg");
}

DriverSetup::Outcome DriverSetup::refusedBy(const std::string& loader) const {
  for (const std::string_view sign : {"Key was rejected", "Required key not available"})
    if (loader.find(sign) != std::string::npos) return failure(module.keyRefusal());
  if (module.secureBoot && loader.find("Operation not permitted") != std::string::npos)
    return failure(module.keyRefusal());
  return failure("v4l2loopback cannot be loaded (" + oneLine(loader) + "); look at: sudo dmesg");
}

DriverSetup::Outcome DriverSetup::inUse(const std::string& device) const {
  const std::string programs = device.empty() ? "" : programsUsing(root / device.substr(1));
  return failure("v4l2loopback is in use with other options" +
                 (programs.empty() ? "" : " (" + programs + ")") +
                 "; close the programs that have a virtual camera open, then choose Re-install "
                 "extension");
}

DriverSetup::Outcome DriverSetup::optionsNeeded() const {
  const auto& other = module.otherOptions.front();
  return failure(other.file.string() +
                 " has v4l2loopback loaded for another program; put the line \"options " +
                 "v4l2loopback devices=2 exclusive_caps=1,1 max_buffers=4 card_label=\"" +
                 (other.label.empty() ? "Virtual Camera" : other.label) + "," + kVirtualCameraName +
                 "\"\" there in place of its own, and restart");
}

DriverSetup::Outcome DriverSetup::persist() const {
  // Options of several files would mix. A device that was added beside another program's is added
  // again when it is missed.
  if (!module.otherOptions.empty()) return {};
  std::string line = std::string("options ") + kModule;
  for (const auto& option : options()) line += " " + option;
  for (const auto& [name, text] :
       {std::pair(kOptionsFile, line), {kLoadFile, std::string(kModule)}})
    if (!write(root / name, kHeader + text + "\n"))
      return failure((root / name).string() +
                     " cannot be written, so the camera would be gone after a restart; see that "
                     "its disk is neither full nor read-only");
  return {};
}

DriverSetup::Outcome DriverSetup::remove() const {
  for (const char* name : {kOptionsFile, kLoadFile}) {
    std::error_code error;
    fs::remove(root / name, error);
    if (error) return failure((root / name).string() + " cannot be removed: " + error.message());
  }
  return {};
}

int DriverSetup::freeNumber() const {
  if (const auto* camera = module.camera())
    return std::stoi(camera->node.substr(std::string_view("/dev/video").size()));
  for (int number = kFirstNumber; number <= kLastNumber; ++number)
    if (!fs::exists(root / "sys/class/video4linux" / ("video" + std::to_string(number))))
      return number;
  return -1;  // the driver takes any
}

std::vector<std::string> DriverSetup::options() const {
  return {"exclusive_caps=1", "max_buffers=4",
          std::string("card_label=\"") + kVirtualCameraName + "\"",
          "video_nr=" + std::to_string(freeNumber())};
}

}  // namespace quorvex
