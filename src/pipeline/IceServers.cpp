#include "pipeline/IceServers.h"

#include <algorithm>

#include "support/Json.h"

namespace quorvex {
namespace {

/// A list of texts, or one text; anything else is no URL at all.
std::vector<std::string> urlsOf(const Json& element) {
  const auto urls = element.find("urls");
  if (urls == element.end()) return {};
  if (urls->is_string()) return {urls->get<std::string>()};
  const auto isText = [](const Json& url) { return url.is_string(); };
  if (!urls->is_array() || !std::all_of(urls->begin(), urls->end(), isText)) return {};
  return urls->get<std::vector<std::string>>();
}

}  // namespace

std::optional<std::vector<RtcIceServer>> parseIceServers(std::string_view body) {
  const auto reply = parseObject(body);
  if (!reply) return std::nullopt;
  std::vector<RtcIceServer> servers;
  const auto list = reply->find("iceServers");
  if (list == reply->end() || !list->is_array()) return servers;
  for (const Json& element : *list) {
    if (!element.is_object()) continue;
    auto urls = urlsOf(element);
    if (urls.empty()) continue;
    servers.push_back(
        {std::move(urls), textMember(element, "username"), textMember(element, "credential")});
  }
  return servers;
}

}  // namespace quorvex
