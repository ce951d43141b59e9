#include "FaceList.h"

#include <algorithm>
#include <iterator>

namespace quorvex {

void FaceList::show(const std::vector<SavedFace>& library) {
  std::vector<Row> wanted;
  wanted.reserve(library.size());
  for (const SavedFace& face : library)
    wanted.push_back({QString::fromStdString(face.id), QString::fromStdString(face.name)});
  const auto [oldFirst, newFirst] =
      std::mismatch(rows.begin(), rows.end(), wanted.begin(), wanted.end());
  const auto [oldEnd, newEnd] =
      std::mismatch(rows.rbegin(), std::make_reverse_iterator(oldFirst), wanted.rbegin(),
                    std::make_reverse_iterator(newFirst));
  const int first = static_cast<int>(oldFirst - rows.begin());
  const int removed = static_cast<int>(oldEnd.base() - oldFirst);
  const int added = static_cast<int>(newEnd.base() - newFirst);
  if (removed > 0) {
    beginRemoveRows({}, first, first + removed - 1);
    rows.erase(oldFirst, oldEnd.base());
    endRemoveRows();
  }
  if (added > 0) {
    beginInsertRows({}, first, first + added - 1);
    rows.insert(rows.begin() + first, newFirst, newEnd.base());
    endInsertRows();
  }
}

int FaceList::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows.size()) + 1;
}

QVariant FaceList::data(const QModelIndex& index, int role) const {
  const bool isFace = index.row() < static_cast<int>(rows.size());
  if (role == isAddTile) return !isFace;
  if (!isFace) return QString();
  const Row& row = rows[static_cast<std::size_t>(index.row())];
  return role == faceId ? row.id : row.name;
}

QHash<int, QByteArray> FaceList::roleNames() const {
  return {{faceId, "faceId"}, {name, "name"}, {isAddTile, "isAddTile"}};
}

}  // namespace quorvex
