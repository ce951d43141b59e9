#include "SymbolPictures.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>
#include <algorithm>

namespace quorvex {

QImage symbolPicture(const QString& name, const QString& colour, int pixels) {
  QFile file(":/qt/qml/Quorvex/symbols/" + name + ".svg");
  if (!file.open(QIODevice::ReadOnly)) return {};
  QByteArray drawing = file.readAll();
  QSvgRenderer renderer(drawing.replace("currentColor", "#" + colour.toLatin1()));
  QImage picture(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  renderer.render(&painter);
  return picture;
}

QImage SymbolPictures::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  const QImage picture =
      symbolPicture(id.section('/', 0, 0), id.section('/', 1, 1),
                    std::max({requestedSize.width(), requestedSize.height(), 16}));
  if (size) *size = picture.size();
  return picture;
}

}  // namespace quorvex
