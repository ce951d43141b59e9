#include "faces/FaceStore.h"

#include <algorithm>
#include <filesystem>

#include "faces/FaceImage.h"
#include "platform/Uuid.h"

namespace quorvex {
namespace {

constexpr const char* kFaces = "rc.faces.v1";
constexpr const char* kActive = "rc.faces.active";
constexpr const char* kLegacyFace = "rc.targetFace.b64";
constexpr const char* kLegacyName = "rc.targetFace.name";
constexpr int kMaxThumbnail = 640;
constexpr double kMargin = 0.18;

std::string newFaceID() {
  std::string id = randomUuid();
  std::transform(id.begin(), id.end(), id.begin(), [](char c) {
    return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return id;
}

std::optional<SavedFace> faceFrom(const Json& entry) {
  if (!entry.is_object()) return std::nullopt;
  auto id = textMember(entry, "id"), name = textMember(entry, "name"),
       b64 = textMember(entry, "b64");
  if (!id || !name || !b64) return std::nullopt;
  return SavedFace{std::move(*id), std::move(*name), std::move(*b64)};
}

/// The name that a file goes by, less its extension. A name that is no UTF-8 loses what is not.
std::string displayName(const std::string& file) {
  const std::string stem = std::filesystem::path(file).stem().string();
  return Json::parse(Json(stem).dump(-1, ' ', false, Json::error_handler_t::replace))
      .get<std::string>();
}

}  // namespace

FaceStore::FaceStore(Defaults& settings, const ImageCodec& codec)
    : defaults(settings), images(codec) {}

std::vector<SavedFace> FaceStore::loadFaces() {
  migrateLegacyFace();
  const auto stored = defaults.string(kFaces);
  if (!stored) return {};
  const Json entries = Json::parse(*stored, nullptr, false);
  if (!entries.is_array()) return {};
  std::vector<SavedFace> faces;
  for (const Json& entry : entries) {
    auto face = faceFrom(entry);
    if (!face) return {};
    faces.push_back(std::move(*face));
  }
  return faces;
}

void FaceStore::saveFaces(const std::vector<SavedFace>& faces) {
  Json entries = Json::array();
  for (const auto& face : faces)
    entries.push_back({{"id", face.id}, {"name", face.name}, {"b64", face.b64}});
  if (const auto text = encoded(entries)) defaults.setString(kFaces, *text);
}

void FaceStore::migrateLegacyFace() {
  if (migrationTried.exchange(true)) return;
  if (defaults.string(kFaces)) return;
  auto legacy = defaults.string(kLegacyFace);
  if (!legacy) return;
  const SavedFace face{newFaceID(), defaults.string(kLegacyName).value_or("My face"),
                       std::move(*legacy)};
  saveFaces({face});
  setActiveFace(face.id);
}

std::optional<SavedFace> FaceStore::activeFace() {
  const auto faces = loadFaces();
  if (faces.empty()) return std::nullopt;
  const auto active = activeID();
  const auto found = std::find_if(faces.begin(), faces.end(),
                                  [&](const SavedFace& face) { return face.id == active; });
  return found == faces.end() ? faces.front() : *found;
}

std::optional<SavedFace> FaceStore::addFace(const std::string& file) {
  auto b64 = encodeFaceImage(images, file, kMaxThumbnail, kMargin);
  if (!b64) return std::nullopt;
  const SavedFace face{newFaceID(), displayName(file), std::move(*b64)};
  auto faces = loadFaces();
  faces.push_back(face);
  saveFaces(faces);
  setActiveFace(face.id);
  return face;
}

void FaceStore::deleteFace(std::string_view id) {
  auto faces = loadFaces();
  std::erase_if(faces, [&](const SavedFace& face) { return face.id == id; });
  saveFaces(faces);
  if (activeID() != id) return;
  if (faces.empty())
    defaults.remove(kActive);
  else
    setActiveFace(faces.front().id);
}

void FaceStore::setActiveFace(std::string_view id) {
  defaults.setString(kActive, id);
}

std::optional<std::string> FaceStore::activeID() const {
  return defaults.string(kActive);
}

std::optional<Json> FaceStore::faceConfig() {
  const auto face = activeFace();
  if (!face) return std::nullopt;
  return Json{{"target_face_b64", face->b64}, {"enhance", defaults.boolean(kEnhance)}};
}

}  // namespace quorvex
