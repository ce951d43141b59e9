#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "service/Options.h"
#include "service/ServiceLoop.h"

namespace quorvex::service {

/// The whole service: its endpoints, its clients and their peer connections, on one loopback port.
/// Made, run and destroyed on one thread, the service's.
class Service {
 public:
  /// Throws std::runtime_error when the WebRTC library does not start.
  Service(ServiceLoop& loop, const Options& options);
  ~Service();

  /// The text says why the port cannot be had. What arrives is served while the loop runs.
  [[nodiscard]] std::optional<std::string> listen();
  /// One line of JSON: "web", "api" and "socket" are the base URLs, without a path of their own;
  /// "pid" is this process's id.
  [[nodiscard]] std::string addressLine() const;
  [[nodiscard]] std::uint16_t port() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace quorvex::service
