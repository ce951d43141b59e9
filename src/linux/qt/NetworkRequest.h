#pragma once

#include <QNetworkRequest>
#include <QUrl>
#include <map>
#include <string>

namespace quorvex {

/// A request checked for what must never be sent. `refusal` says why it was refused; when it is
/// empty, `request` has the URL, the headers and this program's User-Agent.
struct NetworkRequest {
  QNetworkRequest request;
  std::string refusal;

  /// `secureScheme` is "https" or "wss"; its plain counterpart is taken toward loopback only.
  static NetworkRequest make(const std::string& url, const char* secureScheme,
                             const std::map<std::string, std::string>& headers);
};

/// Why `url` must not be reached, or nothing.
std::string refusalOf(const QUrl& url, const char* secureScheme);

/// "scheme://host:port", the part of a URL that may be shown: never the path or the query.
std::string originOf(const QUrl& url);

bool isHttpToken(const std::string& text);

}  // namespace quorvex
