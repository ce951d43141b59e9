#include "program/VirtualCameraChoice.h"

#include <stdlib.h>
#include <unistd.h>

#include "linux/vcam/EmbeddedCamera.h"
#include "linux/vcam/PipeWireCamera.h"

namespace quorvex {

VirtualCameraChoice::VirtualCameraChoice(const Options& options,
                                         const std::function<void(std::string_view)>& log) {
  const bool embedded = options.virtualCamera == Options::VirtualCamera::embedded ||
                        (options.virtualCamera == Options::VirtualCamera::automatic &&
                         options.demo && PipeWireCamera::whyNoDaemon());
  if (embedded)
    chooseEmbedded(log);
  else
    choosePipeWire();
}

VirtualCameraChoice::~VirtualCameraChoice() {
  chosen.clear();
  if (privateFolder) ::rmdir(privateFolder->c_str());
}

void VirtualCameraChoice::choosePipeWire() {
  line = PipeWireCamera::whyNoDaemon().value_or(
      "Virtual camera: PipeWire node \"Quorvex Camera\"; watch it with: gst-launch-1.0 pipewiresrc "
      "target-object=quorvex_camera ! videoconvert ! autovideosink");
  chosen.push_back(std::make_shared<PipeWireCamera>());
}

void VirtualCameraChoice::chooseEmbedded(const std::function<void(std::string_view)>& log) {
  const auto camera = std::make_shared<EmbeddedCamera>(socketPath(), log);
  line = camera->whyUnavailable().value_or(
      "Virtual camera: unix:" + camera->path() +
      "; watch it with: ffplay -f yuv4mpegpipe -i unix:" + camera->path());
  chosen.push_back(camera);
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
