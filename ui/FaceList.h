#pragma once

#include <QAbstractListModel>
#include <QtQmlIntegration>
#include <vector>

#include "faces/SavedFace.h"

namespace quorvex {

/// The library of faces for a grid: one row a face, and after them one for the tile that adds a
/// face. Only the rows that differ are made anew. Main thread only.
class FaceList : public QAbstractListModel {
  Q_OBJECT
  QML_ANONYMOUS

 public:
  void show(const std::vector<SavedFace>& library);

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  /// Roles "faceId", "name" and "isAddTile".
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

 private:
  enum Role { faceId = Qt::UserRole, name, isAddTile };

  struct Row {
    QString id;
    QString name;
    bool operator==(const Row&) const = default;
  };
  std::vector<Row> rows;
};

}  // namespace quorvex
