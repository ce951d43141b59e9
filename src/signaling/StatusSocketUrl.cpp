#include "signaling/StatusSocketUrl.h"

#include <string_view>

#include "support/Json.h"
#include "support/PercentEncoding.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {
namespace {

/// Whether `url` has a socket scheme and a host, and nothing in it that no URL may hold.
bool decomposes(std::string_view url) {
  const auto scheme = url.find("://");
  if (scheme == std::string_view::npos) return false;
  if (url.substr(0, scheme) != "wss" && url.substr(0, scheme) != "ws") return false;
  const auto host = url.substr(scheme + 3);
  if (host.empty() || host.front() == '/' || host.front() == ':') return false;
  for (const unsigned char c : url)
    if (c <= ' ' || c >= 0x7f || c == '"' || c == '<' || c == '>' || c == '\\') return false;
  return true;
}

}  // namespace

std::variant<std::string, StatusSocketUrlProblem> statusSocketUrl(const std::string& socketBase,
                                                                  const SignalingSession& session) {
  if (!decomposes(socketBase)) return StatusSocketUrlProblem{"invalid status WS base URL"};
  if (!decodedUtf8(session.userUUID) || !decodedUtf8(session.clientID.value_or("")))
    return StatusSocketUrlProblem{"could not build status WS URL"};
  std::string url = appendingPathComponent(socketBase, "ws/status") + "?";
  if (session.clientID) url += "client_id=" + percentEncoded(*session.clientID) + "&";
  return url + "user_uuid=" + percentEncoded(session.userUUID);
}

}  // namespace quorvex
