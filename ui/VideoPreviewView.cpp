#include "VideoPreviewView.h"

#include <QEvent>
#include <QQuickWindow>
#include <QSGSimpleTextureNode>
#include <cmath>

namespace quorvex {

VideoPreviewView::VideoPreviewView(QQuickItem* parent)
    : QQuickItem(parent), renderer(std::make_shared<PreviewRenderer>([this] {
        QMetaObject::invokeMethod(this, &QQuickItem::update, Qt::QueuedConnection);
      })) {
  setFlag(ItemHasContents);
  connect(this, &VideoPreviewView::appearanceChanged, this, &VideoPreviewView::updateTarget);
}

VideoPreviewView::~VideoPreviewView() {
  showWindow(nullptr);
  setTrack({});
}

QVariant VideoPreviewView::track() const {
  return QVariant::fromValue(attached.lock());
}

void VideoPreviewView::setTrack(const QVariant& value) {
  const auto wanted = value.value<std::shared_ptr<RtcVideoTrack>>();
  const auto old = attached.lock();
  if (old == wanted) return;
  if (old) old->removeRenderer(renderer);
  (void)renderer->take();
  if (wanted) wanted->addRenderer(renderer);
  attached = wanted;
  update();
  Q_EMIT trackChanged();
}

bool VideoPreviewView::canBeSeen() const {
  return isVisible() && watchedWindow && watchedWindow->isExposed() &&
         !(watchedWindow->windowStates() & Qt::WindowMinimized);
}

void VideoPreviewView::updateTarget() {
  PreviewRenderer::Target target;
  if (canBeSeen()) {
    const qreal scale = watchedWindow->effectiveDevicePixelRatio();
    target.size = (size() * scale).toSize();
    target.mirrored = mirrored;
    target.fills = fills;
    target.cornerRadius = static_cast<int>(std::lround(radius * scale));
  }
  renderer->setTarget(target);
}

QSGNode* VideoPreviewView::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  auto* node = static_cast<QSGSimpleTextureNode*>(old);
  if (attached.expired()) {
    delete node;
    return nullptr;
  }
  const QImage picture = renderer->take();
  if (!node && picture.isNull()) return nullptr;
  if (!node) {
    node = new QSGSimpleTextureNode;
    node->setOwnsTexture(true);
    node->setFiltering(QSGTexture::Linear);
  }
  if (!picture.isNull())
    node->setTexture(window()->createTextureFromImage(
        picture, picture.hasAlphaChannel() ? QQuickWindow::TextureHasAlphaChannel
                                           : QQuickWindow::TextureIsOpaque));
  const QSizeF shown = QSizeF(node->texture()->textureSize())
                           .scaled(size(), fills ? Qt::IgnoreAspectRatio : Qt::KeepAspectRatio);
  node->setRect(
      QRectF(QPointF((width() - shown.width()) / 2, (height() - shown.height()) / 2), shown));
  return node;
}

void VideoPreviewView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  updateTarget();
  update();
}

void VideoPreviewView::itemChange(ItemChange change, const ItemChangeData& value) {
  QQuickItem::itemChange(change, value);
  if (change == ItemSceneChange) showWindow(value.window);
  if (change == ItemSceneChange || change == ItemVisibleHasChanged ||
      change == ItemDevicePixelRatioHasChanged)
    updateTarget();
}

void VideoPreviewView::showWindow(QQuickWindow* window) {
  if (watchedWindow) watchedWindow->removeEventFilter(this);
  watchedWindow = window;
  if (window) window->installEventFilter(this);
}

bool VideoPreviewView::eventFilter(QObject*, QEvent* event) {
  // The window knows of its own exposure and state only after it has handled these.
  const auto type = event->type();
  if (type == QEvent::Expose || type == QEvent::Hide || type == QEvent::WindowStateChange)
    QMetaObject::invokeMethod(this, &VideoPreviewView::updateTarget, Qt::QueuedConnection);
  return false;
}

}  // namespace quorvex
