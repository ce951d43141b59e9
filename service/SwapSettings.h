#pragma once

#include <optional>
#include <string>

#include "service/JsonMembers.h"

namespace quorvex::service {

/// How a client wants its picture: what its offer and its configuration updates have said so far.
struct SwapSettings {
  std::string targetFace;  ///< base64 of a JPEG image; empty: no face
  bool enhance = false;
  bool mouthMask = false;
  bool paused = false;
  bool locked = false;

  /// Takes over the members of an offer's face configuration. Throws a `Refusal`, in which case
  /// nothing has changed.
  void takeFace(const JsonMembers& face);
  /// The same for a configuration update, which may hold any of the members but at least one.
  void takeUpdate(const JsonMembers& config);
};

}  // namespace quorvex::service
