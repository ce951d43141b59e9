#include "faces/FaceActions.h"

#include <filesystem>

#include "log/HostLog.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr const char* kPrompt = "Use Face";
constexpr const char* kMessage =
    "Pick a clear, front-facing photo. A normal photo (face with some background) works best — "
    "extreme closeups can fail face detection.";

}  // namespace

FaceActions::FaceActions(Dependencies dependencies, Callbacks wiring)
    : needs(std::move(dependencies)), callbacks(std::move(wiring)) {}

void FaceActions::chooseFace() {
  if (!needs.openPanel) return;
  if (const auto file = needs.openPanel->chooseImage(kPrompt, kMessage)) addFace(*file);
}

void FaceActions::addFace(const std::string& file) {
  needs.model.busyFace = true;
  callbacks.buildStatusMenu("Processing photo…");
  needs.backgroundQueue.async([&mainQueue = needs.mainQueue, store = needs.store, file,
                               weak = weak_from_this()] {
    mainQueue.async(weakly(
        weak, [file, face = store->addFace(file)](FaceActions& self) { self.added(file, face); }));
  });
}

void FaceActions::added(const std::string& file, const std::optional<SavedFace>& face) {
  needs.model.busyFace = false;
  if (!face) {
    hostLog("face: failed to encode " + std::filesystem::path(file).filename().string());
    return callbacks.buildStatusMenu("Couldn't read that image — try another");
  }
  hostLog("face: added " + face->name + " (" + std::to_string(face->b64.size()) + " b64 chars)");
  refreshFaces();
  sendFaceConfig();
  callbacks.buildStatusMenu("Face set — swapping…");
}

void FaceActions::selectFace(const std::string& id) {
  needs.store->setActiveFace(id);
  refreshFaces();
  sendFaceConfig();
}

void FaceActions::deleteFace(const std::string& id) {
  needs.store->deleteFace(id);
  refreshFaces();
  sendFaceConfig();
}

void FaceActions::clearFace() {
  if (const auto active = needs.store->activeID()) needs.store->deleteFace(*active);
  refreshFaces();
  sendFaceConfig();
  hostLog("face: cleared active");
  callbacks.buildStatusMenu("Face cleared");
}

void FaceActions::refreshFaces() {
  needs.model.faces = needs.store->loadFaces();
  const auto active = needs.store->activeFace();
  needs.model.activeFaceID = active ? std::optional(active->id) : std::nullopt;
}

void FaceActions::sendFaceConfig() {
  callbacks.sendConfig(needs.store->faceConfig().value_or(Json{{"target_face_b64", ""}}));
}

}  // namespace quorvex
