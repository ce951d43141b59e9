#pragma once

#include <chrono>
#include <cstdint>
#include <string>

struct _VipsSource;
struct _VipsSourceCustom;

namespace quorvex {

/// A regular file as a source of libvips. It is read and never mapped, for a mapped file that
/// somebody cuts short meanwhile kills the program; and for five seconds at most, which ends the
/// reading of a file made to take for ever. On any thread, one call at a time.
class PhotoFile {
 public:
  explicit PhotoFile(const std::string& path);
  ~PhotoFile();
  PhotoFile(const PhotoFile&) = delete;

  /// None when `path` names no regular file that can be read.
  [[nodiscard]] _VipsSource* source() const { return stream; }
  /// In bytes.
  [[nodiscard]] std::int64_t size() const { return length; }

 private:
  static std::int64_t read(_VipsSourceCustom* source, void* bytes, std::int64_t count,
                           PhotoFile* file);
  static std::int64_t seek(_VipsSourceCustom* source, std::int64_t offset, int whence,
                           PhotoFile* file);

  const std::chrono::steady_clock::time_point deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(5);
  int fd;
  std::int64_t length = 0;
  _VipsSource* stream = nullptr;
};

}  // namespace quorvex
