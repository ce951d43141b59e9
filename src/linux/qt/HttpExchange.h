#pragma once

#include <QByteArray>
#include <QNetworkRequest>
#include <QObject>
#include <QTimer>
#include <QUrl>
#include <functional>
#include <optional>
#include <string>

#include "platform/HttpClient.h"

class QNetworkAccessManager;
class QNetworkReply;

namespace quorvex {

/// One HTTP request and its reply, on the network thread. Ends exactly once, with the call of
/// `done`, in which the exchange may be destroyed; at the latest after the request's timeout.
class HttpExchange : public QObject {
 public:
  using Done = std::function<void(HttpResult)>;

  explicit HttpExchange(Seconds idleTimeout);

  /// Sends the request. One that must not be sent ends the exchange before this returns.
  void begin(QNetworkAccessManager& network, const HttpRequest& asked, Done whenDone);

  /// Ends the exchange with `error`.
  void fail(const std::string& error);

 private:
  void sendRequest();
  void watchReply();
  void checkHeaders();
  void readBody();
  void finish();
  void follow(const QUrl& target, int status);
  void succeed(int status);
  void end(HttpResult result);
  [[nodiscard]] std::string origin() const;

  Done done;
  QNetworkAccessManager* manager = nullptr;
  QNetworkRequest request;
  QByteArray method;
  std::optional<QByteArray> content;
  int redirects = 0;
  QNetworkReply* reply = nullptr;  ///< owned by the manager
  std::string body;
  QTimer idleTimer;
  QTimer wholeTimer;
};

}  // namespace quorvex
