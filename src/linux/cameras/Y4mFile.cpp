#include "linux/cameras/Y4mFile.h"

#include <fcntl.h>
#include <libyuv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "linux/cameras/CameraError.h"

namespace quorvex {
namespace {

constexpr std::size_t kLongestLine = 1024;

[[noreturn]] void failOpen(const std::string& path, int code) {
  const std::string reason = std::strerror(code);
  throw CameraError(path + " cannot be opened (" + reason + "): check the path and its permissions",
                    code);
}

// Non-blocking, for a FIFO without a writer would keep open() for ever.
std::FILE* openRegular(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) failOpen(path, errno);
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd);
    throw CameraError(path + " is no regular file: name a YUV4MPEG2 file");
  }
  std::FILE* file = fdopen(fd, "rb");
  if (!file) {
    const int code = errno;
    close(fd);
    failOpen(path, code);
  }
  return file;
}

}  // namespace

Y4mFile::Y4mFile(std::string filePath) : path(std::move(filePath)), file(openRegular(path)) {
  try {
    info = parseY4mHeader(readLine());
  } catch (const CameraError& error) {
    const bool empty = std::ftell(file.get()) == 0;
    throw CameraError(path + " " + (empty ? "is empty: name a YUV4MPEG2 file" : error.what()));
  }
  firstFrame = std::ftell(file.get());
  if (info.sampling != Y4mHeader::Sampling::k420) planes.resize(info.frameBytes());
  picture = I420Picture(info.width, info.height);
}

const I420Picture& Y4mFile::nextFrame() {
  if (readFrame()) return picture;
  if (std::fseek(file.get(), firstFrame, SEEK_SET) != 0 || !readFrame()) {
    throw CameraError(path +
                      " holds no whole frame: copy it again or make it again with "
                      "ffmpeg -i VIDEO -pix_fmt yuv420p NEW.y4m");
  }
  return picture;
}

// What stands before the next line feed; less at the end of the file.
std::string Y4mFile::readLine() {
  std::string line;
  for (int byte = 0; line.size() < kLongestLine; line.push_back(static_cast<char>(byte))) {
    byte = std::getc(file.get());
    if (byte == EOF || byte == '\n') break;
  }
  return line;
}

bool Y4mFile::readFrame() {
  const std::string line = readLine();
  const std::string_view word = std::string_view(line).substr(0, line.find(' '));

  const bool isI420 = info.sampling == Y4mHeader::Sampling::k420;
  std::uint8_t* bytes = isI420 ? picture.y() : planes.data();
  const bool whole =
      word == "FRAME" && std::fread(bytes, 1, info.frameBytes(), file.get()) == info.frameBytes();
  if (std::ferror(file.get())) {
    throw CameraError(path + " cannot be read (" + std::strerror(errno) +
                      "): copy it to another disk");
  }
  if (!whole && !line.empty()) damagedEnd = true;
  if (whole && !isI420) convertPlanes();
  return whole;
}

void Y4mFile::convertPlanes() {
  const std::uint8_t* y = planes.data();
  const std::uint8_t* u = y + static_cast<std::size_t>(info.width) * info.height;
  const int chroma = info.chromaWidth();
  const std::uint8_t* v = u + static_cast<std::size_t>(chroma) * info.chromaHeight();
  const int half = picture.strideChroma();
  if (info.sampling == Y4mHeader::Sampling::k422) {
    libyuv::I422ToI420(y, info.width, u, chroma, v, chroma, picture.y(), info.width, picture.u(),
                       half, picture.v(), half, info.width, info.height);
  } else if (info.sampling == Y4mHeader::Sampling::k444) {
    libyuv::I444ToI420(y, info.width, u, chroma, v, chroma, picture.y(), info.width, picture.u(),
                       half, picture.v(), half, info.width, info.height);
  } else {
    libyuv::I400ToI420(y, info.width, picture.y(), info.width, picture.u(), half, picture.v(), half,
                       info.width, info.height);
  }
}

}  // namespace quorvex
