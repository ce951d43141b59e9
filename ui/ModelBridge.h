#pragma once

#include <QObject>
#include <QSizeF>
#include <QString>
#include <QVariant>
#include <QtQmlIntegration>
#include <map>
#include <memory>
#include <set>

#include "FaceList.h"
#include "FacePictures.h"
#include "model/AppModel.h"
#include "platform/Defaults.h"

namespace quorvex {

/// The model as the views see it: one property a field, each with a signal of its own, so that a
/// change reaches the views that show it and no other; and the model's actions under their names.
/// The signals of the changes of one turn come together, in the next. Main thread only.
class ModelBridge : public QObject {
  Q_OBJECT
  QML_NAMED_ELEMENT(Model)
  QML_UNCREATABLE("there is one model, the application's")
  Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
  Q_PROPERTY(bool isLive READ isLive NOTIFY isLiveChanged)
  Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY isSignedInChanged)
  Q_PROPERTY(bool isSigningIn READ isSigningIn NOTIFY isSigningInChanged)
  Q_PROPERTY(bool paused READ paused NOTIFY pausedChanged)
  Q_PROPERTY(bool isQueued READ isQueued NOTIFY isQueuedChanged)
  Q_PROPERTY(QString queueLabel READ queueLabel NOTIFY queueLabelChanged)
  Q_PROPERTY(quorvex::FaceList* faces READ faces CONSTANT)
  Q_PROPERTY(QString activeFaceID READ activeFaceID NOTIFY activeFaceIDChanged)
  Q_PROPERTY(bool busyFace READ busyFace NOTIFY busyFaceChanged)
  Q_PROPERTY(bool mouthMask READ mouthMask NOTIFY mouthMaskChanged)
  Q_PROPERTY(bool enhance READ enhance NOTIFY enhanceChanged)
  Q_PROPERTY(bool hd READ hd NOTIFY hdChanged)
  Q_PROPERTY(bool locked READ locked NOTIFY lockedChanged)
  Q_PROPERTY(bool flipped READ flipped NOTIFY flippedChanged)
  Q_PROPERTY(bool showSelfView READ showSelfView WRITE setShowSelfView NOTIFY showSelfViewChanged)
  Q_PROPERTY(bool showSelfBig READ showSelfBig WRITE setShowSelfBig NOTIFY showSelfBigChanged)
  Q_PROPERTY(
      QSizeF selfPipOffset READ selfPipOffset WRITE setSelfPipOffset NOTIFY selfPipOffsetChanged)
  /// A `std::shared_ptr<RtcVideoTrack>` each, for a VideoPreviewView.
  Q_PROPERTY(QVariant remoteTrack READ remoteTrack NOTIFY remoteTrackChanged)
  Q_PROPERTY(QVariant localTrack READ localTrack NOTIFY localTrackChanged)
  Q_PROPERTY(bool hasRemoteTrack READ hasRemoteTrack NOTIFY remoteTrackChanged)
  Q_PROPERTY(bool needsConsent READ needsConsent NOTIFY needsConsentChanged)

 public:
  /// All three outlive the bridge.
  ModelBridge(AppModel& model, Defaults& defaults, FacePictures& pictures);

  [[nodiscard]] QString statusText() const;
  [[nodiscard]] bool isLive() const { return model.isLive; }
  [[nodiscard]] bool isSignedIn() const { return model.isSignedIn; }
  [[nodiscard]] bool isSigningIn() const { return model.isSigningIn; }
  [[nodiscard]] bool paused() const { return model.paused; }
  [[nodiscard]] bool isQueued() const { return model.isQueued; }
  [[nodiscard]] QString queueLabel() const;
  [[nodiscard]] FaceList* faces() { return &faceList; }
  [[nodiscard]] QString activeFaceID() const;
  [[nodiscard]] bool busyFace() const { return model.busyFace; }
  [[nodiscard]] bool mouthMask() const { return model.mouthMask; }
  [[nodiscard]] bool enhance() const { return model.enhance; }
  [[nodiscard]] bool hd() const { return model.hd; }
  [[nodiscard]] bool locked() const { return model.locked; }
  [[nodiscard]] bool flipped() const { return model.flipped; }
  [[nodiscard]] bool showSelfView() const { return model.showSelfView; }
  [[nodiscard]] bool showSelfBig() const { return model.showSelfBig; }
  [[nodiscard]] QSizeF selfPipOffset() const;
  [[nodiscard]] QVariant remoteTrack() const;
  [[nodiscard]] QVariant localTrack() const;
  [[nodiscard]] bool hasRemoteTrack() const { return model.remoteTrack.get() != nullptr; }
  [[nodiscard]] bool needsConsent() const { return model.needsConsent; }

  void setShowSelfView(bool shown);
  void setShowSelfBig(bool big);
  void setSelfPipOffset(const QSizeF& offset);

  Q_INVOKABLE void onChooseFace() const { model.onChooseFace(); }
  Q_INVOKABLE void onSelectFace(const QString& id) const { model.onSelectFace(id.toStdString()); }
  Q_INVOKABLE void onDeleteFace(const QString& id) const { model.onDeleteFace(id.toStdString()); }
  Q_INVOKABLE void onToggleMouthMask() const { model.onToggleMouthMask(); }
  Q_INVOKABLE void onToggleEnhance() const { model.onToggleEnhance(); }
  Q_INVOKABLE void onToggleHD() const { model.onToggleHD(); }
  Q_INVOKABLE void onCalibrate() const { model.onCalibrate(); }
  Q_INVOKABLE void onClearLock() const { model.onClearLock(); }
  Q_INVOKABLE void onTogglePause() const { model.onTogglePause(); }
  Q_INVOKABLE void onToggleFlip() const { model.onToggleFlip(); }
  Q_INVOKABLE void onSignIn() const { model.onSignIn(); }
  Q_INVOKABLE void onSignOut() const { model.onSignOut(); }
  Q_INVOKABLE void onManageAccount() const { model.onManageAccount(); }
  Q_INVOKABLE void onReportBug() const { model.onReportBug(); }
  Q_INVOKABLE void onReconnect() const { model.onReconnect(); }
  Q_INVOKABLE void onCancelQueue() const { model.onCancelQueue(); }
  /// The user has understood how the swap may be used; remembered for good.
  Q_INVOKABLE void acceptConsent();

 Q_SIGNALS:
  void statusTextChanged();
  void isLiveChanged();
  void isSignedInChanged();
  void isSigningInChanged();
  void pausedChanged();
  void isQueuedChanged();
  void queueLabelChanged();
  void activeFaceIDChanged();
  void busyFaceChanged();
  void mouthMaskChanged();
  void enhanceChanged();
  void hdChanged();
  void lockedChanged();
  void flippedChanged();
  void showSelfViewChanged();
  void showSelfBigChanged();
  void selfPipOffsetChanged();
  void remoteTrackChanged();
  void localTrackChanged();
  void needsConsentChanged();

 private:
  using Signal = void (ModelBridge::*)();

  void willChange(const void* field);
  void tellChanges();
  void showFaces();

  AppModel& model;
  Defaults& defaults;
  FacePictures& pictures;
  FaceList faceList;
  const std::map<const void*, Signal> signalsByField;
  std::set<const void*> changed;
  const std::shared_ptr<void> observation;
};

}  // namespace quorvex
