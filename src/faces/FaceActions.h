#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "faces/FaceStore.h"
#include "model/AppModel.h"
#include "platform/DispatchQueue.h"
#include "platform/OpenPanel.h"

namespace quorvex {

/// What the user does with the library of faces: each change shows in the model and goes to the
/// service at once. Main queue only.
class FaceActions : public std::enable_shared_from_this<FaceActions> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    DispatchQueue& backgroundQueue;  ///< photos are encoded there
    AppModel& model;
    std::shared_ptr<FaceStore> store;
    OpenPanel* openPanel = nullptr;  ///< none where there are no windows
  };
  struct Callbacks {
    std::function<void(const std::string& text)> buildStatusMenu;
    std::function<void(Json config)> sendConfig;
  };

  FaceActions(Dependencies dependencies, Callbacks callbacks);

  /// Lets the user pick a photo, adds it and makes it the active face.
  void chooseFace();
  /// Adds the photo in `file` and makes it the active face. Returns at once.
  void addFace(const std::string& file);
  void selectFace(const std::string& id);
  void deleteFace(const std::string& id);
  /// Removes the active face from the library.
  void clearFace();

  /// Shows the library as it is in the model.
  void refreshFaces();

 private:
  void added(const std::string& file, const std::optional<SavedFace>& face);
  void sendFaceConfig();

  const Dependencies needs;
  const Callbacks callbacks;
};

}  // namespace quorvex
