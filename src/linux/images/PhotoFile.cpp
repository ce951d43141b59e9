#include "linux/images/PhotoFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vips/vips.h>

namespace quorvex {

// Non-blocking, for a FIFO without a writer would keep open() for ever.
PhotoFile::PhotoFile(const std::string& path)
    : fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  struct stat status {};
  if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return;
  length = status.st_size;
  VipsSourceCustom* custom = vips_source_custom_new();
  g_signal_connect(custom, "read", G_CALLBACK(read), this);
  g_signal_connect(custom, "seek", G_CALLBACK(seek), this);
  stream = VIPS_SOURCE(custom);
}

PhotoFile::~PhotoFile() {
  if (stream) g_object_unref(stream);
  if (fd >= 0) close(fd);
}

std::int64_t PhotoFile::read(VipsSourceCustom*, void* bytes, std::int64_t count, PhotoFile* file) {
  if (std::chrono::steady_clock::now() > file->deadline) return -1;
  return ::read(file->fd, bytes, static_cast<std::size_t>(count));
}

std::int64_t PhotoFile::seek(VipsSourceCustom*, std::int64_t offset, int whence, PhotoFile* file) {
  return lseek(file->fd, offset, whence);
}

}  // namespace quorvex
