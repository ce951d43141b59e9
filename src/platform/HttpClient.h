#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DispatchQueue.h"

namespace quorvex {

struct HttpRequest {
  std::string method = "GET";
  std::string url;
  std::map<std::string, std::string> headers;
  std::optional<std::string> body;
  /// The longest the whole exchange may take.
  Seconds timeout{60};
};

/// How one exchange ended. `error` is set when it failed below HTTP (no connection, time-out, TLS,
/// a reply over the size limit); then the other members say nothing. `status` is 0 when what came
/// back was no HTTP reply.
struct HttpResult {
  std::optional<std::string> error;
  int status = 0;
  std::map<std::string, std::string> headers;  ///< names in lower case
  std::optional<std::string> body;             ///< empty when the reply had none to give

  [[nodiscard]] const std::string* header(std::string_view lowerCaseName) const {
    auto found = headers.find(std::string(lowerCaseName));
    return found == headers.end() ? nullptr : &found->second;
  }
};

/// Sends HTTP requests. Cookies are kept and sent for the life of the client; a connection on which
/// nothing moves for 30 s fails; certificates are verified; a redirect never carries credentials to
/// another origin, and plain http is refused except toward loopback. Thread-safe.
class HttpClient {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpClient() = default;

  /// Calls `completion` exactly once, on the client's own callback queue.
  virtual void send(HttpRequest request, Completion completion) = 0;
};

}  // namespace quorvex
