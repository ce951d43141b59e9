#include "linux/qt/HttpExchange.h"

#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <algorithm>
#include <cmath>
#include <utility>

#include "linux/qt/NetworkRequest.h"

namespace quorvex {

namespace {

constexpr qint64 kLargestBody = 8 * 1024 * 1024;
constexpr qint64 kReadBuffer = 256 * 1024;
constexpr int kMostRedirects = 10;

std::chrono::milliseconds toTimerInterval(Seconds seconds) {
  const double milliseconds = std::ceil(seconds.count() * 1000);
  return std::chrono::milliseconds(static_cast<long>(std::clamp(milliseconds, 0.0, 1e9)));
}

std::string inSeconds(const QTimer& timer) {
  return QString::number(timer.interval() / 1000.0).toStdString() + " s";
}

bool carriesCredentials(const QNetworkRequest& request) {
  return request.hasRawHeader("Authorization") || request.hasRawHeader("Cookie") ||
         request.hasRawHeader("Proxy-Authorization");
}

bool sameOrigin(const QUrl& a, const QUrl& b) {
  const auto port = [](const QUrl& url) { return url.port(url.scheme() == u"https" ? 443 : 80); };
  return a.scheme() == b.scheme() && a.host() == b.host() && port(a) == port(b);
}

bool isRedirect(int status) {
  return (status >= 301 && status <= 303) || status == 307 || status == 308;
}

/// Qt's own text may quote the whole URL, which can hold what no log may show.
std::string errorText(const QNetworkReply& reply) {
  const QString text = reply.errorString();
  if (reply.error() != QNetworkReply::NoError && !text.contains(u"://")) return text.toStdString();
  return QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(reply.error());
}

}  // namespace

HttpExchange::HttpExchange(Seconds idleTimeout) {
  idleTimer.setSingleShot(true);
  idleTimer.setInterval(toTimerInterval(idleTimeout));
  wholeTimer.setSingleShot(true);
  connect(&idleTimer, &QTimer::timeout, this, [this] {
    fail("the connection timed out: nothing came from " + origin() + " for " +
         inSeconds(idleTimer));
  });
  connect(&wholeTimer, &QTimer::timeout, this, [this] {
    fail("the request timed out: " + origin() + " had not answered in full after " +
         inSeconds(wholeTimer));
  });
}

void HttpExchange::begin(QNetworkAccessManager& network, const HttpRequest& asked, Done whenDone) {
  done = std::move(whenDone);
  manager = &network;
  auto [made, refusal] = NetworkRequest::make(asked.url, "https", asked.headers);
  if (!refusal.empty()) return fail(refusal);
  if (!isHttpToken(asked.method)) return fail("the request's method is none that HTTP allows");

  method = QByteArray::fromStdString(asked.method);
  if (asked.body) content = QByteArray::fromStdString(*asked.body);
  request = std::move(made);
  // Qt 6.4 loses the reply when it follows a second redirect on one connection: we follow them.
  request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                       QNetworkRequest::ManualRedirectPolicy);
  request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
  request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
  if (!request.hasRawHeader("Accept-Encoding")) {
    request.setRawHeader("Accept-Encoding", "identity");
  }
  if (content && !request.hasRawHeader("Content-Type")) {
    request.setRawHeader("Content-Type", "application/octet-stream");
  }
  wholeTimer.start(toTimerInterval(asked.timeout));
  sendRequest();
}

void HttpExchange::sendRequest() {
  if (method == "GET" && !content) {
    reply = manager->get(request);
  } else if (method == "HEAD") {
    reply = manager->head(request);
  } else if (method == "POST") {
    reply = manager->post(request, content.value_or(QByteArray()));
  } else if (method == "PUT") {
    reply = manager->put(request, content.value_or(QByteArray()));
  } else {
    reply = manager->sendCustomRequest(request, method, content.value_or(QByteArray()));
  }
  idleTimer.start();
  watchReply();
}

void HttpExchange::watchReply() {
  reply->setReadBufferSize(kReadBuffer);
  const auto stayAwake = [this] { idleTimer.start(); };
  connect(reply, &QNetworkReply::uploadProgress, this, stayAwake);
  connect(reply, &QNetworkReply::downloadProgress, this, stayAwake);
  connect(reply, &QNetworkReply::encrypted, this, stayAwake);
  connect(reply, &QNetworkReply::metaDataChanged, this, [this] { checkHeaders(); });
  connect(reply, &QNetworkReply::readyRead, this, [this] { readBody(); });
  connect(reply, &QNetworkReply::finished, this, [this] { finish(); });
}

void HttpExchange::checkHeaders() {
  idleTimer.start();
  if (reply->header(QNetworkRequest::ContentLengthHeader).toLongLong() > kLargestBody) {
    fail("the reply of " + origin() + " is larger than 8 MiB");
  }
}

void HttpExchange::readBody() {
  idleTimer.start();
  body += reply->readAll().toStdString();
  if (body.size() > kLargestBody) fail("the reply of " + origin() + " is larger than 8 MiB");
}

void HttpExchange::finish() {
  readBody();
  if (!done) return;
  const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
  // With a status of 400 or more, the error only repeats it. Below 200 no final reply has come.
  if (status < 200 || (status < 400 && reply->error() != QNetworkReply::NoError)) {
    return fail("no reply from " + origin() + ": " + errorText(*reply));
  }
  if (isRedirect(status) && reply->hasRawHeader("Location")) {
    const QUrl target(QString::fromUtf8(reply->rawHeader("Location")), QUrl::StrictMode);
    return follow(request.url().resolved(target), status);
  }
  const bool hasLength = reply->hasRawHeader("Content-Length") &&
                         !reply->hasRawHeader("Transfer-Encoding") && status != 304 &&
                         method != "HEAD";
  const auto length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
  if (hasLength && static_cast<qint64>(body.size()) < length) {
    return fail("the reply of " + origin() + " was cut short after " + std::to_string(body.size()) +
                " of " + std::to_string(length) + " bytes");
  }
  succeed(status);
}

void HttpExchange::follow(const QUrl& target, int status) {
  const std::string refused =
      "the redirect from " + origin() + " to " + originOf(target) + " was refused: ";
  const bool secure = request.url().scheme() == u"https";
  if (const auto refusal = refusalOf(target, "https"); !refusal.empty()) {
    return fail(refused + refusal);
  }
  if (secure && target.scheme() != u"https") return fail(refused + "it gives up encryption");
  if ((content || carriesCredentials(request)) && !sameOrigin(request.url(), target)) {
    return fail(refused + "the request holds what is meant for " + origin() + " alone");
  }
  if (++redirects > kMostRedirects) return fail(refused + "there were too many before it");

  if (status == 303 || (status < 303 && method == "POST")) {
    if (method != "HEAD") method = "GET";
    content.reset();
    request.setRawHeader("Content-Type", QByteArray());
  }
  reply->disconnect(this);
  reply->deleteLater();
  request.setUrl(target);
  body.clear();
  sendRequest();
}

void HttpExchange::succeed(int status) {
  HttpResult result;
  result.status = status;
  for (const auto& [name, value] : reply->rawHeaderPairs()) {
    result.headers[name.toLower().toStdString()] = value.toStdString();
  }
  result.body = std::move(body);
  end(std::move(result));
}

void HttpExchange::fail(const std::string& error) {
  HttpResult result;
  result.error = error;
  end(std::move(result));
}

void HttpExchange::end(HttpResult result) {
  const Done call = std::exchange(done, nullptr);
  if (!call) return;
  idleTimer.stop();
  wholeTimer.stop();
  if (reply) {
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
  }
  call(std::move(result));
}

std::string HttpExchange::origin() const {
  return originOf(request.url());
}

}  // namespace quorvex
