#pragma once

#include <string>
#include <vector>

#include "faces/FaceStore.h"

namespace quorvex {

/// `quorvex-camera faces …`: the library of faces for people without the window, and for scripts. A
/// running host takes a change over with its next session.
class FacesCommand {
 public:
  explicit FacesCommand(FaceStore& faces) : store(faces) {}

  /// `words` follow "faces" on the command line. The exit code: 0 done, 1 not possible, 2 no such
  /// command; what there is to say goes to standard output, or to standard error when it is not
  /// done.
  int run(const std::vector<std::string>& words);

 private:
  int list();
  int add(const std::string& file);
  int remove(const std::string& id);
  int use(const std::string& id);
  [[nodiscard]] bool exists(const std::string& id);

  FaceStore& store;
};

}  // namespace quorvex
