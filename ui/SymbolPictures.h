#pragma once

#include <QQuickImageProvider>

namespace quorvex {

/// The application's own symbols in any colour: "image://symbols/NAME/RRGGBB". Any thread.
class SymbolPictures : public QQuickImageProvider {
 public:
  SymbolPictures() : QQuickImageProvider(Image) {}

  /// Square; a null picture where there is no symbol of this name.
  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

/// One symbol, `pixels` wide and high. Any thread.
[[nodiscard]] QImage symbolPicture(const QString& name, const QString& colour, int pixels);

}  // namespace quorvex
