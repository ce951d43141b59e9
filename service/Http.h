#pragma once

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace quorvex::service {

/// One HTTP request, read to its end.
struct HttpRequest {
  std::string method;
  std::string path;                            ///< without the query
  std::map<std::string, std::string> query;    ///< percent-decoded
  std::map<std::string, std::string> headers;  ///< by name in lower case
  std::string body;

  [[nodiscard]] std::optional<std::string> header(const std::string& lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::nullopt : std::optional(found->second);
  }
};

struct HttpReply {
  int status = 200;
  std::optional<nlohmann::json> body{};
  std::map<std::string, std::string> headers{};
  /// Sent as it is in place of a body; is no JSON where `headers` has another Content-Type.
  std::optional<std::string> text{};
};

/// Thrown where a request or a message is wrong; `why` is one sentence naming what is wrong and
/// what is expected. The router makes it the reply, the status socket an error message.
struct Refusal {
  int status = 400;
  std::string why;
};

/// Takes the reply of one request: called once, on the service's thread.
using Respond = std::function<void(HttpReply)>;
using Endpoint = std::function<void(const HttpRequest&, Respond)>;

}  // namespace quorvex::service
