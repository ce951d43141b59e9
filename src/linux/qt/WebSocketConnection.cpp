#include "linux/qt/WebSocketConnection.h"

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QtGlobal>
#include <algorithm>
#include <cmath>
#include <utility>

#include "linux/qt/NetworkRequest.h"

namespace quorvex {

namespace {

constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr std::size_t kLargestMessage = 8 * kMegabyte;
constexpr std::size_t kMostArrived = 256;
constexpr std::size_t kMostArrivedBytes = 16 * kMegabyte;
constexpr std::size_t kMostUnsent = 256;
constexpr std::size_t kMostUnsentBytes = 16 * kMegabyte;
constexpr std::chrono::seconds kLongestClosing{2};
constexpr int kLost = 1006;
constexpr int kTooMuch = 1008;

template <class Handler>
void onError(QWebSocket& socket, Handler handler) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
  const auto signal = &QWebSocket::errorOccurred;
#else
  const auto signal = qOverload<QAbstractSocket::SocketError>(&QWebSocket::error);
#endif
  QObject::connect(&socket, signal, &socket, handler);
}

/// The cookies for `url`, whose scheme is ws or wss, as a header's value.
QByteArray cookiesFor(QUrl url, QNetworkCookieJar& cookies) {
  url.setScheme(url.scheme() == u"wss" ? "https" : "http");
  QByteArray header;
  for (const auto& cookie : cookies.cookiesForUrl(url)) {
    header += (header.isEmpty() ? "" : "; ") + cookie.toRawForm(QNetworkCookie::NameAndValueOnly);
  }
  return header;
}

/// Qt puts the name of its own function before some texts.
std::string errorText(const QWebSocket& socket) {
  const QString text = socket.errorString();
  const auto name = text.startsWith(u"QWebSocket") ? text.indexOf(u": ") : -1;
  return (name < 0 ? text : text.mid(name + 2)).toStdString();
}

}  // namespace

WebSocketConnection::WebSocketConnection(WebSocketRequest webSocketRequest)
    : request(std::move(webSocketRequest)) {}

void WebSocketConnection::open(QNetworkCookieJar& cookies) {
  if (state != State::idle) return;
  auto [made, refusal] = NetworkRequest::make(request.url, "wss", request.headers);
  if (!refusal.empty()) return end(0, refusal);
  origin = originOf(made.url());
  const auto cookieHeader = cookiesFor(made.url(), cookies);
  if (!cookieHeader.isEmpty()) made.setRawHeader("Cookie", cookieHeader);

  state = State::opening;
  socket = std::make_unique<QWebSocket>();
  socket->setMaxAllowedIncomingFrameSize(kLargestMessage);
  socket->setMaxAllowedIncomingMessageSize(kLargestMessage);
  // A frame is taken out of the buffer as a whole, so that this must hold the largest.
  socket->setReadBufferSize(kLargestMessage + kMegabyte);
  watch();
  socket->open(made);
}

void WebSocketConnection::watch() {
  using Kind = WebSocketMessage::Kind;
  QWebSocket* const watched = socket.get();
  QObject::connect(watched, &QWebSocket::connected, watched, [this] { becomeOpen(); });
  QObject::connect(watched, &QWebSocket::disconnected, watched, [this] { peerEnded(); });
  QObject::connect(watched, &QWebSocket::aboutToClose, watched, [this] { closeFrameSeen = true; });
  QObject::connect(watched, &QWebSocket::textMessageReceived, watched, [this](const QString& text) {
    take({Kind::text, text.toStdString()});
  });
  QObject::connect(watched, &QWebSocket::binaryMessageReceived, watched,
                   [this](const QByteArray& data) {
                     take({Kind::binary, data.toStdString()});
                   });
  onError(*watched, [this] {
    if (state == State::opening) failOpening(errorText(*socket));
  });
  patience = new QTimer(watched);
  patience->setSingleShot(true);
  QObject::connect(patience, &QTimer::timeout, watched, [this] {
    if (state == State::opening) failOpening("it did not answer in time");
    socket->abort();
  });
  const double milliseconds = std::clamp(request.timeout.count() * 1000, 0.0, 1e9);
  patience->start(static_cast<int>(std::ceil(milliseconds)));
}

void WebSocketConnection::becomeOpen() {
  if (state != State::opening) return;
  state = State::open;
  patience->stop();
  for (const auto& outgoing : std::exchange(unsent, {})) write(outgoing);
}

void WebSocketConnection::take(WebSocketMessage message) {
  if (state != State::open) return;
  arrivedBytes += message.data.size();
  arrived.push_back(std::move(message));
  deliver();
  if (arrived.size() > kMostArrived || arrivedBytes > kMostArrivedBytes) {
    closeBecause(kTooMuch, origin + " sent more than this side could take");
  }
}

void WebSocketConnection::receive(Receiver completion) {
  if (receiver) return completion({{}, "another receive is outstanding"});
  receiver = std::move(completion);
  deliver();
}

void WebSocketConnection::deliver() {
  if (!receiver || (arrived.empty() && state != State::ended)) return;
  Received received;
  if (arrived.empty()) {
    received.error = error;
  } else {
    arrivedBytes -= arrived.front().data.size();
    received.message = std::move(arrived.front());
    arrived.pop_front();
  }
  std::exchange(receiver, nullptr)(std::move(received));
}

void WebSocketConnection::send(std::string text, Sent sent) {
  if (state == State::open) return write({std::move(text), std::move(sent)});
  if (state == State::ended) return sent(error);
  if (unsent.size() >= kMostUnsent) return sent("too many frames wait for the socket to open");
  unsent.push_back({std::move(text), std::move(sent)});
}

void WebSocketConnection::write(const Outgoing& outgoing) {
  if (state != State::open) return outgoing.sent(error);
  if (static_cast<std::size_t>(socket->bytesToWrite()) > kMostUnsentBytes) {
    return outgoing.sent(origin + " does not take what is sent to it");
  }
  socket->sendTextMessage(QString::fromStdString(outgoing.text));
  if (state != State::open) return outgoing.sent(error);
  outgoing.sent({});
}

void WebSocketConnection::cancel(int code) {
  if (state == State::ended) return;
  arrived.clear();
  arrivedBytes = 0;
  if (state == State::open) return closeBecause(code, "cancelled");
  end(0, "cancelled");
  if (socket) socket->abort();
}

void WebSocketConnection::drop() {
  arrived.clear();
  if (state != State::ended) end(0, "cancelled");
  if (socket && !closeFrameSeen) socket->abort();
}

void WebSocketConnection::closeBecause(int code, const std::string& why) {
  end(code, why);
  patience->start(kLongestClosing);
  socket->close(static_cast<QWebSocketProtocol::CloseCode>(code));
  socket->flush();
}

void WebSocketConnection::failOpening(const std::string& why) {
  end(0, "the socket to " + origin + " did not open: " + why);
  // Not at once: this may be called from the midst of the socket's own work.
  patience->start(0);
}

void WebSocketConnection::peerEnded() {
  if (state == State::opening) return failOpening("the connection was closed");
  if (state != State::open) return;
  const int code = socket->closeCode();
  // A peer that stops in the middle of a frame is closed on by Qt, as if it were we who go away.
  const bool stalled = code == QWebSocketProtocol::CloseCodeGoingAway &&
                       socket->closeReason().startsWith(u"Timeout when reading");
  if (!closeFrameSeen || stalled) {
    return end(kLost, "the connection to " + origin + " was lost: " + errorText(*socket));
  }
  end(code, "the socket to " + origin + " was closed with code " + std::to_string(code));
}

void WebSocketConnection::end(int code, const std::string& why) {
  state = State::ended;
  error = why;
  endCode = code;
  if (patience) patience->stop();
  for (const auto& outgoing : std::exchange(unsent, {})) outgoing.sent(error);
  deliver();
}

}  // namespace quorvex
