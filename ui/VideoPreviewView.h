#pragma once

#include <QQuickItem>
#include <QVariant>
#include <memory>

#include "PreviewRenderer.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// Shows a live video track, the newest frame of it, drawn by the scene graph on any of its
/// backends. Attached to exactly one track at a time; the track is not kept alive. Frames are
/// converted on the engine's threads, at the size shown, and only while the view can be seen.
class VideoPreviewView : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  /// A `std::shared_ptr<RtcVideoTrack>`; none shows nothing.
  Q_PROPERTY(QVariant track READ track WRITE setTrack NOTIFY trackChanged)
  Q_PROPERTY(bool mirrored MEMBER mirrored NOTIFY appearanceChanged)
  /// Fills the view and cuts off what has no place; otherwise the whole frame is shown within it.
  Q_PROPERTY(bool fills MEMBER fills NOTIFY appearanceChanged)
  Q_PROPERTY(qreal radius MEMBER radius NOTIFY appearanceChanged)

 public:
  explicit VideoPreviewView(QQuickItem* parent = nullptr);
  ~VideoPreviewView() override;

  [[nodiscard]] QVariant track() const;
  void setTrack(const QVariant& track);

 Q_SIGNALS:
  void trackChanged();
  void appearanceChanged();

 protected:
  QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
  void itemChange(ItemChange change, const ItemChangeData& value) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void showWindow(QQuickWindow* window);
  void updateTarget();
  [[nodiscard]] bool canBeSeen() const;

  const std::shared_ptr<PreviewRenderer> renderer;
  std::weak_ptr<RtcVideoTrack> attached;
  QPointer<QQuickWindow> watchedWindow;
  bool mirrored = false;
  bool fills = false;
  qreal radius = 0;
};

}  // namespace quorvex
