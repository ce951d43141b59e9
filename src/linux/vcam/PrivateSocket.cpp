#include "linux/vcam/PrivateSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace quorvex {
namespace {

std::string errorText() {
  return std::strerror(errno);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

UniqueFd newSocket() {
  return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

std::string lockPathOf(const std::string& path) {
  return path + ".lock";
}

/// Without a value, and with the reason in `problem`, when somebody else holds it.
UniqueFd takeLock(const std::string& lockPath, std::string* problem) {
  for (;;) {
    UniqueFd lock(
        ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!lock || ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
      *problem = lock && errno == EWOULDBLOCK
                     ? "another running Quorvex Camera serves it; end that one first"
                     : errorText();
      return UniqueFd();
    }
    // Its former owner may have removed it after we opened it; then it guards nothing any more.
    struct stat held {};
    struct stat named {};
    if (::fstat(lock.get(), &held) == 0 && ::lstat(lockPath.c_str(), &named) == 0 &&
        held.st_ino == named.st_ino && held.st_dev == named.st_dev)
      return lock;
  }
}

/// Empty when nothing stands at `path` any more that a new socket would have to respect.
std::string clearPath(const std::string& path, const sockaddr_un& address) {
  struct stat found {};
  if (::lstat(path.c_str(), &found) != 0) return errno == ENOENT ? "" : errorText();
  if (!S_ISSOCK(found.st_mode)) return "there is a file of that name; remove it";
  const UniqueFd probe = newSocket();
  if (!probe) return errorText();
  const bool answered =
      ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  // A full backlog (EAGAIN) has an owner too.
  if (answered || errno == EAGAIN) return "another program serves it; end that one first";
  if (errno != ECONNREFUSED) return errorText();
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? "" : errorText();
}

/// Binds `listener` so that its file is the owner's alone from the moment it exists: the file takes
/// its permissions from the socket's.
std::string bindPrivately(const UniqueFd& listener, const std::string& path,
                          const sockaddr_un& address) {
  constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
  constexpr int kBacklog = 16;
  if (!listener || ::fchmod(listener.get(), kOwnerOnly) != 0 ||
      ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    return errorText();
  std::string problem;
  struct stat made {};
  if (::lstat(path.c_str(), &made) != 0)
    problem = errorText();
  else if ((made.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    problem = "the system lets others open it; put it on another file system";
  else if (::listen(listener.get(), kBacklog) != 0)
    problem = errorText();
  if (!problem.empty()) ::unlink(path.c_str());
  return problem;
}

}  // namespace

std::unique_ptr<PrivateSocket> PrivateSocket::open(const std::string& path, std::string* problem) {
  if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path)) {
    *problem = "a socket's path has 1 to 107 bytes; set XDG_RUNTIME_DIR to a shorter one";
    return nullptr;
  }
  const sockaddr_un address = addressOf(path);
  UniqueFd lock = takeLock(lockPathOf(path), problem);
  if (!lock) return nullptr;
  UniqueFd listener = newSocket();
  if (*problem = clearPath(path, address); problem->empty())
    *problem = bindPrivately(listener, path, address);
  if (!problem->empty()) {
    ::unlink(lockPathOf(path).c_str());
    return nullptr;
  }
  return std::unique_ptr<PrivateSocket>(
      new PrivateSocket(path, std::move(lock), std::move(listener)));
}

PrivateSocket::~PrivateSocket() {
  ::unlink(path.c_str());
  ::unlink(lockPathOf(path).c_str());
}

}  // namespace quorvex
