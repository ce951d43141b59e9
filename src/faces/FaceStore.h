#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "faces/SavedFace.h"
#include "platform/Defaults.h"
#include "platform/ImageCodec.h"
#include "support/Json.h"

namespace quorvex {

/// The setting that says whether the face is enhanced, which travels with the active one.
inline constexpr const char* kEnhance = "rc.enhance";

/// The user's library of faces, and which of them is the active one. It lives in the settings
/// alone: each operation reads it afresh and each change is written at once. While the library
/// holds any face, some face is active.
///
/// Each operation may run on any thread, but a change is lost when another is made at the same
/// time.
class FaceStore {
 public:
  FaceStore(Defaults& defaults, const ImageCodec& images);

  /// In the order in which they were added. What cannot be read as a library is an empty one.
  [[nodiscard]] std::vector<SavedFace> loadFaces();
  [[nodiscard]] std::optional<SavedFace> activeFace();

  /// Encodes the photo in `file`, appends it and makes it the active face; takes up to a second.
  /// None when the file holds no photo that can be read; the library is as it was then.
  std::optional<SavedFace> addFace(const std::string& file);
  /// The first face that remains becomes active when the active one is deleted.
  void deleteFace(std::string_view id);
  /// An id that names no face makes the first face active.
  void setActiveFace(std::string_view id);
  /// The id that was last made active, whether or not it names a face.
  [[nodiscard]] std::optional<std::string> activeID() const;

  /// What an offer says of the active face; none without one.
  [[nodiscard]] std::optional<Json> faceConfig();

 private:
  void saveFaces(const std::vector<SavedFace>& faces);
  void migrateLegacyFace();

  Defaults& defaults;
  const ImageCodec& images;
  std::atomic<bool> migrationTried{false};
};

}  // namespace quorvex
