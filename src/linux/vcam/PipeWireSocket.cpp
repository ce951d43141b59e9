#include "linux/vcam/PipeWireSocket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace quorvex {
namespace {

constexpr const char* kMend =
    ": start it with `systemctl --user start pipewire wireplumber`, or use "
    "--virtual-camera embedded";

std::string firstSet(std::initializer_list<const char*> variables) {
  for (const char* variable : variables)
    if (const char* value = std::getenv(variable); value && *value) return value;
  return {};
}

}  // namespace

PipeWireSocket::PipeWireSocket(const std::string& remote) : path(remote) {
  if (path.empty()) path = firstSet({"PIPEWIRE_REMOTE"});
  if (path.empty()) path = "pipewire-0";
  if (path.front() == '/') return;
  const std::string directory = firstSet({"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR"});
  path = directory.empty() ? "" : directory + "/" + path;
}

UniqueFd PipeWireSocket::connect(std::string* problem) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    *problem = explained("the path is too long");
    return UniqueFd();
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  UniqueFd made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (made &&
      ::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    return made;
  *problem = explained(std::strerror(errno));
  return UniqueFd();
}

std::string PipeWireSocket::explained(const std::string& reason) const {
  if (path.empty())
    return std::string("PipeWire cannot be looked for, as XDG_RUNTIME_DIR is not set") + kMend;
  return "PipeWire does not answer at " + path + " (" + reason + ")" + kMend;
}

}  // namespace quorvex
