#include "program/FacesCommand.h"

#include <algorithm>
#include <cstdio>

namespace quorvex {
namespace {

constexpr int kNotPossible = 1;
constexpr int kBadCommand = 2;

int refuse(int code, const std::string& why) {
  std::fprintf(stderr, "quorvex-camera: %s\n", why.c_str());
  return code;
}

}  // namespace

int FacesCommand::run(const std::vector<std::string>& words) {
  if (words == std::vector<std::string>{"list"}) return list();
  if (words.size() == 2) {
    if (words[0] == "add") return add(words[1]);
    if (words[0] == "remove") return remove(words[1]);
    if (words[0] == "use") return use(words[1]);
  }
  return refuse(kBadCommand, "give faces list, faces add FILE, faces remove ID or faces use ID");
}

int FacesCommand::list() {
  const auto active = store.activeFace();
  for (const auto& face : store.loadFaces())
    std::printf("%s %s  %s\n", active && face.id == active->id ? "*" : " ", face.id.c_str(),
                face.name.c_str());
  return 0;
}

int FacesCommand::add(const std::string& file) {
  const auto face = store.addFace(file);
  if (!face) return refuse(kNotPossible, "Couldn't read that image — try another: " + file);
  std::printf("%s\n", face->id.c_str());
  return 0;
}

int FacesCommand::remove(const std::string& id) {
  if (!exists(id)) return kNotPossible;
  store.deleteFace(id);
  return 0;
}

int FacesCommand::use(const std::string& id) {
  if (!exists(id)) return kNotPossible;
  store.setActiveFace(id);
  return 0;
}

bool FacesCommand::exists(const std::string& id) {
  const auto faces = store.loadFaces();
  if (std::any_of(faces.begin(), faces.end(), [&](const auto& face) { return face.id == id; }))
    return true;
  refuse(kNotPossible, "there is no face " + id + "; faces list shows them");
  return false;
}

}  // namespace quorvex
