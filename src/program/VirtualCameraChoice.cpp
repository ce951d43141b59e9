#include "program/VirtualCameraChoice.h"

#include <stdlib.h>
#include <unistd.h>

#include "linux/driver/LoopbackModule.h"
#include "linux/vcam/EmbeddedCamera.h"
#include "linux/vcam/PipeWireCamera.h"

namespace quorvex {
namespace {

/// The user has declined the video device, or it could not be had.
constexpr const char* kWithoutVideoDeviceKey = "rc.withoutVideoDevice";

}  // namespace

VirtualCameraChoice::VirtualCameraChoice(const Options& options, Defaults& settings, const Log& log)
    : defaults(settings) {
  using Kind = Options::VirtualCamera;
  const Kind kind = options.virtualCamera;
  const bool compatible = options.compatibilityFormat || settings.boolean(kCompatibilityFormatKey);
  if (kind == Kind::v4l2 || kind == Kind::automatic)
    chooseV4l2(compatible ? RawVideoFormat::yuy2 : RawVideoFormat::nv12, log);
  // The demo is content with what there is, so that it needs nothing installed.
  const bool content = kind == Kind::automatic && options.demo;
  if (loopback && !(content && !loopback->available())) explainV4l2();
  if (kind == Kind::embedded ||
      (content && !loopback->available() && PipeWireCamera::whyNoDaemon()))
    chooseEmbedded(log);
  else if (kind != Kind::v4l2)
    choosePipeWire(!loopback || content || defaults.boolean(kWithoutVideoDeviceKey));
}

VirtualCameraChoice::~VirtualCameraChoice() {
  chosen.clear();
  if (privateFolder) ::rmdir(privateFolder->c_str());
}

void VirtualCameraChoice::chooseV4l2(RawVideoFormat format, const Log& log) {
  loopback = std::make_shared<V4l2LoopbackCamera>(format, log);
  chosen.push_back(loopback);
}

void VirtualCameraChoice::explainV4l2() {
  const auto camera = LoopbackModule::findCamera();
  const std::string path = camera ? camera->node : "/dev/videoN";
  explain(loopback->whyUnavailable().value_or("Virtual camera: video device " + path +
                                              "; watch it with: ffplay -f v4l2 -i " + path));
}

void VirtualCameraChoice::doWithoutVideoDevice() {
  defaults.setBoolean(kWithoutVideoDeviceKey, true);
  if (pipeWire) pipeWire->setSuffices(true);
}

void VirtualCameraChoice::reconsider() {
  defaults.remove(kWithoutVideoDeviceKey);
}

std::optional<std::string> VirtualCameraChoice::toldToTry() {
  if (!loopback)
    return "This run was told to use another output than the video device; start without "
           "--virtual-camera";
  if (defaults.boolean(kWithoutVideoDeviceKey))
    return "The camera does without its video device, as that was declined or could not be had; "
           "choose Re-install extension to be asked again";
  const auto camera = LoopbackModule::findCamera();
  if (camera && !camera->exclusive) loopback->release();
  return std::nullopt;
}

void VirtualCameraChoice::choosePipeWire(bool suffices) {
  explain(PipeWireCamera::whyNoDaemon().value_or(
      "Virtual camera: PipeWire node \"Quorvex Camera\"; watch it with: gst-launch-1.0 pipewiresrc "
      "target-object=quorvex_camera ! videoconvert ! autovideosink"));
  pipeWire = std::make_shared<PipeWireCamera>();
  pipeWire->setSuffices(suffices);
  chosen.push_back(pipeWire);
}

void VirtualCameraChoice::chooseEmbedded(const Log& log) {
  const auto camera = std::make_shared<EmbeddedCamera>(socketPath(), log);
  explain(camera->whyUnavailable().value_or(
      "Virtual camera: unix:" + camera->path() +
      "; watch it with: ffplay -f yuv4mpegpipe -i unix:" + camera->path()));
  chosen.push_back(camera);
}

void VirtualCameraChoice::explain(const std::string& line) {
  lines += (lines.empty() ? "" : "\n") + line;
}

std::string VirtualCameraChoice::socketPath() {
  const char* runtime = ::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime == '/') return std::string(runtime) + "/quorvex-camera.sock";
  // The system's temporary folder is everybody's; a folder of our own within it is not.
  std::string folder = "/tmp/quorvex-camera-XXXXXX";
  if (::mkdtemp(folder.data())) privateFolder = folder;
  return folder + "/quorvex-camera.sock";
}

}  // namespace quorvex
