#include "FacePictures.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>
#include <QPainterPath>
#include <optional>
#include <set>

namespace quorvex {
namespace {

constexpr int kTile = 2 * 54;
constexpr int kRadius = 2 * 8;

/// The middle of the picture in `base64`, a square tile of it.
QImage decoded(const std::string& base64) {
  const auto bytes = QByteArray::fromBase64Encoding(QByteArray::fromStdString(base64),
                                                    QByteArray::AbortOnBase64DecodingErrors);
  if (!bytes) return {};
  QBuffer buffer;
  buffer.setData(*bytes);
  QImageReader reader(&buffer);
  reader.setAutoTransform(true);
  if (const QSize whole = reader.size(); whole.isValid())
    reader.setScaledSize(whole.scaled(kTile, kTile, Qt::KeepAspectRatioByExpanding));
  const QImage picture = reader.read();
  if (picture.isNull()) return {};
  const QImage scaled =
      picture.scaled(kTile, kTile, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
  QImage tile(kTile, kTile, QImage::Format_ARGB32_Premultiplied);
  tile.fill(Qt::transparent);
  QPainter painter(&tile);
  painter.setRenderHint(QPainter::Antialiasing);
  QPainterPath outline;
  outline.addRoundedRect(tile.rect(), kRadius, kRadius);
  QBrush brush(scaled);
  brush.setTransform(
      QTransform::fromTranslate((kTile - scaled.width()) / 2.0, (kTile - scaled.height()) / 2.0));
  painter.fillPath(outline, brush);
  return tile;
}

}  // namespace

void FacePictures::setFaces(const std::vector<SavedFace>& library) {
  std::lock_guard hold(mutex);
  std::set<std::string> ids;
  for (const SavedFace& face : library) {
    ids.insert(face.id);
    if (!tiles.contains(face.id)) undecoded.try_emplace(face.id, face.b64);
  }
  const auto isGone = [&ids](const auto& entry) { return !ids.contains(entry.first); };
  std::erase_if(undecoded, isGone);
  std::erase_if(tiles, isGone);
}

QImage FacePictures::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  std::unique_lock hold(mutex);
  const std::string key = id.toStdString();
  if (auto waiting = undecoded.extract(key)) {
    hold.unlock();
    QImage tile = decoded(waiting.mapped());
    hold.lock();
    tiles.insert_or_assign(key, std::move(tile));
  }
  const auto found = tiles.find(key);
  const QImage tile = found == tiles.end() ? QImage() : found->second;
  if (size) *size = tile.size();
  if (tile.isNull() || requestedSize.isEmpty() || tile.size() == requestedSize) return tile;
  return tile.scaled(requestedSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace quorvex
