#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

namespace quorvex::test {

// HTTP over real sockets on the loopback interface, one call after the other. Nothing waits longer
// than half a minute.

/// Sends these very bytes, then perhaps their end, and returns all that comes back until the end.
std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd = false);

using Headers = std::map<std::string, std::string>;

struct Reply {
  [[nodiscard]] std::string refusal() const {
    return std::to_string(status) + " " + body.value("error", "");
  }

  int status = 0;
  nlohmann::json body = nlohmann::json::object();
};

Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers = {}, const std::string& body = "");

}  // namespace quorvex::test
