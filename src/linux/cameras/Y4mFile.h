#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "linux/cameras/I420Picture.h"
#include "linux/cameras/Y4mHeader.h"

namespace quorvex {

/// A YUV4MPEG2 file that is read from the disk frame by frame, over and over. Throws CameraError,
/// with the file's name, when it cannot be played. Bound to one thread; a FIFO does not hang it.
class Y4mFile {
 public:
  explicit Y4mFile(std::string path);

  [[nodiscard]] const Y4mHeader& header() const { return info; }

  /// The next whole frame, after the last one the first. It stays until the next call.
  const I420Picture& nextFrame();

  /// Whether something that is no whole frame was found behind the last whole one.
  [[nodiscard]] bool endsInsideFrame() const { return damagedEnd; }

 private:
  struct CloseFile {
    void operator()(std::FILE* open) const { std::fclose(open); }
  };

  [[nodiscard]] std::string readLine();
  [[nodiscard]] bool readFrame();
  void convertPlanes();

  std::string path;
  std::unique_ptr<std::FILE, CloseFile> file;
  Y4mHeader info;
  long firstFrame = 0;               ///< where it begins in the file
  std::vector<std::uint8_t> planes;  ///< a frame as the file has it, unless that is 4:2:0
  I420Picture picture;
  bool damagedEnd = false;
};

}  // namespace quorvex
