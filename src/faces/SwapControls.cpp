#include "faces/SwapControls.h"

#include "faces/FaceStore.h"
#include "log/HostLog.h"

namespace quorvex {
namespace {

constexpr int kHdBitrate = 3'000'000;
constexpr int kSavingBitrate = 1'500'000;

std::string text(bool flag) {
  return flag ? "true" : "false";
}

}  // namespace

SwapControls::SwapControls(Defaults& settings, AppModel& appModel, Callbacks wiring)
    : defaults(settings), model(appModel), callbacks(std::move(wiring)) {}

void SwapControls::toggleEnhance() {
  defaults.setBoolean(kEnhance, !defaults.boolean(kEnhance));
  model.enhance = defaults.boolean(kEnhance);
  hostLog("face: enhance=" + text(model.enhance));
  callbacks.enhanceToggled();
}

void SwapControls::toggleMouthMask() {
  model.mouthMask = !model.mouthMask;
  callbacks.sendConfig({{"mouth_mask", model.mouthMask.get()}});
}

void SwapControls::toggleHD() {
  model.hd = !model.hd;
  const int bitrate = model.hd ? kHdBitrate : kSavingBitrate;
  callbacks.setMaxBitrate(bitrate);
  hostLog("control: HD=" + text(model.hd) + " (" + std::to_string(bitrate / 1000) + " kbps)");
}

void SwapControls::toggleFlip() {
  model.flipped = !model.flipped;
  callbacks.setFlipped(model.flipped);
  hostLog("control: flip=" + text(model.flipped));
}

void SwapControls::togglePause() {
  model.paused = !model.paused;
  sendPaused();
  hostLog(std::string("control: ") + (model.paused ? "PAUSE" : "RESUME") + " swap");
}

void SwapControls::calibrate() {
  callbacks.sendControl("calibrate");
  model.locked = true;
  hostLog("control: calibrate (lock onto largest face)");
}

void SwapControls::clearLock() {
  callbacks.sendControl("clear_lock");
  model.locked = false;
  hostLog("control: clear lock");
}

void SwapControls::syncPausedToServer() {
  sendPaused();
  hostLog("sync: paused=" + text(model.paused) + " → server (post-(re)connect)");
}

void SwapControls::sendPaused() {
  callbacks.sendConfig({{"paused", model.paused.get()}});
}

}  // namespace quorvex
