#pragma once

#include <functional>
#include <string>

#include "model/AppModel.h"
#include "platform/Defaults.h"
#include "support/Json.h"

namespace quorvex {

/// The six controls of the swap: each changes the model, takes effect here or at the service, and
/// is logged. What cannot be sent is not kept; but for the pause, see `syncPausedToServer`, nothing
/// is sent again. Main queue only.
class SwapControls {
 public:
  struct Callbacks {
    std::function<void(Json config)> sendConfig;
    std::function<void(const std::string& type)> sendControl;
    std::function<void(int bitsPerSecond)> setMaxBitrate;
    std::function<void(bool flipped)> setFlipped;
    /// A setting that travels with the offer has changed: build the session anew.
    std::function<void()> enhanceToggled;
  };

  SwapControls(Defaults& defaults, AppModel& model, Callbacks callbacks);

  void toggleEnhance();
  void toggleMouthMask();
  void toggleHD();
  void toggleFlip();
  void togglePause();
  /// Locks the swap onto the largest face.
  void calibrate();
  void clearLock();

  /// A session is up: the service learns whether the swap is paused.
  void syncPausedToServer();

 private:
  void sendPaused();

  Defaults& defaults;
  AppModel& model;
  const Callbacks callbacks;
};

}  // namespace quorvex
