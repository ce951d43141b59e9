#pragma once

#include <QImage>
#include <QQuickImageProvider>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "faces/SavedFace.h"

namespace quorvex {

/// The pictures of the faces' tiles, "image://faces/ID": square, cut from the middle of the photo,
/// with rounded corners. Each is decoded once, on the thread of the view that loads it, at the size
/// of a tile on a screen of twice the resolution; what was decoded is all that is kept.
class FacePictures : public QQuickImageProvider {
 public:
  FacePictures() : QQuickImageProvider(Image) {}

  /// Main thread.
  void setFaces(const std::vector<SavedFace>& library);

  /// A null picture where there is no such face or its text holds no picture. Any thread.
  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;

 private:
  std::mutex mutex;
  std::map<std::string, std::string> undecoded;  ///< base64 by id, until a view asks; by mutex
  std::map<std::string, QImage> tiles;           ///< by id; by mutex
};

}  // namespace quorvex
