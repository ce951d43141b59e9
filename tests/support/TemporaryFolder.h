#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace quorvex::test {

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A folder of the test's own that is removed, with all that is in it, at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() { path = ::mkdtemp(path.data()); }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;

  [[nodiscard]] std::string operator/(const std::string& name) const { return path + "/" + name; }

 private:
  std::string path = std::filesystem::temp_directory_path() / "quorvex-XXXXXX";
};

}  // namespace quorvex::test
