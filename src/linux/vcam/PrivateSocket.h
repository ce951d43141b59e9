#pragma once

#include <memory>
#include <string>

#include "linux/UniqueFd.h"

namespace quorvex {

/// A listening unix stream socket to which nobody but its owner can connect, at any moment. A file
/// beside it, `PATH.lock`, is locked while the owner runs, which tells it from one that died.
class PrivateSocket {
 public:
  /// Replaces the socket of a process that is gone. Null, with the reason and the mend in
  /// `problem`, when the path is in use or cannot be used.
  static std::unique_ptr<PrivateSocket> open(const std::string& path, std::string* problem);

  /// Removes both files.
  ~PrivateSocket();

  /// Non-blocking.
  [[nodiscard]] int descriptor() const { return listener.get(); }

 private:
  PrivateSocket(std::string socketPath, UniqueFd held, UniqueFd listening)
      : path(std::move(socketPath)), lock(std::move(held)), listener(std::move(listening)) {}

  const std::string path;
  const UniqueFd lock;
  const UniqueFd listener;
};

}  // namespace quorvex
