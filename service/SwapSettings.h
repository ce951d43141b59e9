#pragma once

#include <memory>

#include "service/FacePicture.h"
#include "service/JsonMembers.h"

namespace quorvex::service {

/// How a client wants its picture: what its offer and its configuration updates have said so far.
struct SwapSettings {
  std::shared_ptr<const FacePicture> face;  ///< none: no target face
  bool enhance = false;
  bool mouthMask = false;
  bool paused = false;
  bool locked = false;

  /// Takes over the members of an offer's face configuration. Throws a `Refusal`, in which case
  /// nothing has changed.
  void takeFace(const JsonMembers& config);
  /// The same for a configuration update, which may hold any of the members but at least one.
  void takeUpdate(const JsonMembers& config);
};

}  // namespace quorvex::service
