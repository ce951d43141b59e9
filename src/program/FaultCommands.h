#pragma once

#include <QLocalServer>
#include <string>

#include "linux/vcam/FaultyCoreMediaIO.h"
#include "linux/vcam/V4l2LoopbackCamera.h"

namespace quorvex {

/// Lets a person or a script make the virtual camera misbehave while the host runs: a unix socket
/// of the user's own that takes a line each, "refuse", "stall", "vanish" or "none", and answers
/// "ok" or what is wrong. "release" closes the video device, so that its driver can be loaded anew.
/// Main thread only.
class FaultCommands {
 public:
  /// `videoDevice` is null when the host feeds none.
  FaultCommands(FaultyCoreMediaIO& virtualCamera, V4l2LoopbackCamera* videoDevice);

  /// False when the socket cannot be had at `path`; `why` says what is in the way.
  [[nodiscard]] bool listen(const std::string& path, std::string* why);

 private:
  void accept();
  [[nodiscard]] std::string answer(const std::string& command) const;

  FaultyCoreMediaIO& camera;
  V4l2LoopbackCamera* const loopback;
  QLocalServer server;
};

}  // namespace quorvex
