#include "ModelBridge.h"

#include <utility>

namespace quorvex {

ModelBridge::ModelBridge(AppModel& appModel, Defaults& settings, FacePictures& facePictures)
    : model(appModel),
      defaults(settings),
      pictures(facePictures),
      signalsByField{
          {&model.statusText, &ModelBridge::statusTextChanged},
          {&model.isLive, &ModelBridge::isLiveChanged},
          {&model.isSignedIn, &ModelBridge::isSignedInChanged},
          {&model.isSigningIn, &ModelBridge::isSigningInChanged},
          {&model.paused, &ModelBridge::pausedChanged},
          {&model.isQueued, &ModelBridge::isQueuedChanged},
          {&model.queuePosition, &ModelBridge::queueLabelChanged},
          {&model.queueTotal, &ModelBridge::queueLabelChanged},
          {&model.faces, &ModelBridge::showFaces},
          {&model.activeFaceID, &ModelBridge::activeFaceIDChanged},
          {&model.busyFace, &ModelBridge::busyFaceChanged},
          {&model.mouthMask, &ModelBridge::mouthMaskChanged},
          {&model.enhance, &ModelBridge::enhanceChanged},
          {&model.hd, &ModelBridge::hdChanged},
          {&model.locked, &ModelBridge::lockedChanged},
          {&model.flipped, &ModelBridge::flippedChanged},
          {&model.showSelfView, &ModelBridge::showSelfViewChanged},
          {&model.showSelfBig, &ModelBridge::showSelfBigChanged},
          {&model.selfPipOffset, &ModelBridge::selfPipOffsetChanged},
          {&model.remoteTrack, &ModelBridge::remoteTrackChanged},
          {&model.localTrack, &ModelBridge::localTrackChanged},
          {&model.needsConsent, &ModelBridge::needsConsentChanged},
      },
      observation(model.observe([this](const void* field) { willChange(field); })) {
  showFaces();
}

void ModelBridge::willChange(const void* field) {
  // The new value takes effect after this call.
  if (changed.empty())
    QMetaObject::invokeMethod(this, &ModelBridge::tellChanges, Qt::QueuedConnection);
  changed.insert(field);
}

void ModelBridge::tellChanges() {
  for (const void* field : std::exchange(changed, {})) {
    const auto signal = signalsByField.find(field);
    if (signal != signalsByField.end()) (this->*signal->second)();
  }
}

void ModelBridge::showFaces() {
  pictures.setFaces(model.faces);
  faceList.show(model.faces);
}

QString ModelBridge::statusText() const {
  return QString::fromStdString(model.statusText);
}

QString ModelBridge::queueLabel() const {
  return QString::fromStdString(model.queueLabel());
}

QString ModelBridge::activeFaceID() const {
  return QString::fromStdString(model.activeFaceID.get().value_or(""));
}

QSizeF ModelBridge::selfPipOffset() const {
  return {model.selfPipOffset->width, model.selfPipOffset->height};
}

QVariant ModelBridge::remoteTrack() const {
  return QVariant::fromValue(model.remoteTrack.get());
}

QVariant ModelBridge::localTrack() const {
  return QVariant::fromValue(model.localTrack.get());
}

// What the user does to the views themselves shows in the same turn.

void ModelBridge::setShowSelfView(bool shown) {
  model.showSelfView = shown;
  tellChanges();
}

void ModelBridge::setShowSelfBig(bool big) {
  model.showSelfBig = big;
  tellChanges();
}

void ModelBridge::setSelfPipOffset(const QSizeF& offset) {
  model.selfPipOffset = AppModel::Size{offset.width(), offset.height()};
  tellChanges();
}

void ModelBridge::acceptConsent() {
  defaults.setBoolean("rc.consent.v1", true);
  model.needsConsent = false;
}

}  // namespace quorvex
