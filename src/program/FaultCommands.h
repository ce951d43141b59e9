#pragma once

#include <QLocalServer>
#include <string>

#include "linux/vcam/FaultyCoreMediaIO.h"

namespace quorvex {

/// Lets a person or a script make the virtual camera misbehave while the host runs: a unix socket
/// of the user's own that takes a line each, "refuse", "stall", "vanish" or "none", and answers
/// "ok" or what is wrong. Main thread only.
class FaultCommands {
 public:
  explicit FaultCommands(FaultyCoreMediaIO& virtualCamera);

  /// False when the socket cannot be had at `path`; `why` says what is in the way.
  [[nodiscard]] bool listen(const std::string& path, std::string* why);

 private:
  void accept();
  [[nodiscard]] std::string answer(const std::string& command) const;

  FaultyCoreMediaIO& camera;
  QLocalServer server;
};

}  // namespace quorvex
