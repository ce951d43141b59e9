#include "linux/qt/NetworkRequest.h"

#include <QHostAddress>
#include <algorithm>
#include <cstring>
#include <string_view>

namespace quorvex {

namespace {

bool isLoopback(const QUrl& url) {
  return url.host() == u"localhost" || QHostAddress(url.host()).isLoopback();
}

/// A line break would let a value forge further headers.
bool isHeaderValue(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](unsigned char letter) {
    return (letter < 0x20 && letter != '\t') || letter == 0x7f;
  });
}

}  // namespace

bool isHttpToken(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') ||
           (letter >= 'A' && letter <= 'Z') ||
           (letter != 0 && std::strchr("!#$%&'*+-.^_`|~", letter));
  });
}

std::string originOf(const QUrl& url) {
  return url
      .toString(QUrl::RemoveUserInfo | QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment)
      .toStdString();
}

std::string refusalOf(const QUrl& url, const char* secureScheme) {
  const auto secure = QString::fromLatin1(secureScheme);
  if (!url.isValid() || url.host().isEmpty()) {
    return "the address is not a valid " + secure.toStdString() + " URL";
  }
  if (!url.userInfo().isEmpty()) {
    return originOf(url) + " refused: an address must not hold a user name or password";
  }
  if (url.scheme() == secure) return {};
  if (url.scheme() != secure.chopped(1)) {
    return originOf(url) + " refused: the address must begin with " + secure.toStdString() + "://";
  }
  if (isLoopback(url)) return {};
  return originOf(url) + " refused: without encryption only this machine may be reached; use " +
         secure.toStdString() + "://";
}

NetworkRequest NetworkRequest::make(const std::string& url, const char* secureScheme,
                                    const std::map<std::string, std::string>& headers) {
  const QUrl target(QString::fromStdString(url), QUrl::StrictMode);
  NetworkRequest made{QNetworkRequest(target), refusalOf(target, secureScheme)};
  made.request.setRawHeader("User-Agent", "quorvex-camera/" QUORVEX_VERSION);
  for (const auto& [name, value] : headers) {
    if (!isHttpToken(name)) {
      made.refusal = "a header of the request has a name that HTTP does not allow";
    } else if (!isHeaderValue(value)) {
      made.refusal = "header " + name + " holds a control character, which HTTP does not allow";
    }
    made.request.setRawHeader(QByteArray::fromStdString(name), QByteArray::fromStdString(value));
  }
  return made;
}

}  // namespace quorvex
