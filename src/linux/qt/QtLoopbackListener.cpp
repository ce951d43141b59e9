#include "linux/qt/QtLoopbackListener.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <deque>
#include <utility>

namespace quorvex {
namespace {

constexpr int kMostWaiting = 16;
/// Whoever floods the listener must not use up the process's descriptors.
constexpr std::size_t kMostOpen = 32;

/// Deletes an object that may be in the middle of a call into this program.
struct DeleteLater {
  void operator()(QObject* object) const {
    object->disconnect();
    object->deleteLater();
  }
};

class Connection : public LoopbackConnection, public std::enable_shared_from_this<Connection> {
 public:
  Connection(QTcpSocket* accepted, std::chrono::milliseconds longestSilence) : socket(accepted) {
    patience.setInterval(longestSilence);
    socket->setParent(nullptr);
    QObject::connect(socket.get(), &QTcpSocket::readyRead, [this] { deliver(); });
    QObject::connect(socket.get(), &QTcpSocket::disconnected, [this] { ended(); });
    QObject::connect(&patience, &QTimer::timeout, [this] { ended(); });
    QObject::connect(socket.get(), &QTcpSocket::bytesWritten, [this] {
      if (socket->bytesToWrite() == 0) sent();
    });
    patience.setSingleShot(true);
    patience.start();
  }

  void receive(int maximumLength,
               std::function<void(std::optional<std::string>)> completion) override {
    most = maximumLength;
    received = std::move(completion);
    if (socket->bytesAvailable() > 0)
      QTimer::singleShot(0, socket.get(), [this] { deliver(); });
    else if (socket->state() != QAbstractSocket::ConnectedState)
      QTimer::singleShot(0, socket.get(), [this] { ended(); });
  }

  void send(const std::string& bytes, std::function<void()> whenSent) override {
    processed = std::move(whenSent);
    patience.start();
    if (socket->write(bytes.data(), static_cast<qint64>(bytes.size())) < 0)
      QTimer::singleShot(0, socket.get(), [this] { sent(); });
  }

  /// As if its patience had run out.
  void ended() {
    const auto alive = weak_from_this().lock();
    if (received) std::exchange(received, nullptr)(std::nullopt);
    sent();
  }

  void cancel() override {
    patience.stop();
    // Closing with bytes unread would take the reply away from the peer.
    socket->readAll();
    socket->disconnectFromHost();
    received = nullptr;
    processed = nullptr;
  }

 private:
  void deliver() {
    if (!received) return;
    const auto alive = shared_from_this();
    const QByteArray bytes = socket->read(most);
    if (bytes.isEmpty()) return;
    std::exchange(received, nullptr)(bytes.toStdString());
  }
  void sent() {
    const auto alive = weak_from_this().lock();
    if (processed) std::exchange(processed, nullptr)();
  }

  std::unique_ptr<QTcpSocket, DeleteLater> socket;
  QTimer patience;
  int most = 0;
  std::function<void(std::optional<std::string>)> received;
  std::function<void()> processed;
};

class Listener : public LoopbackListener {
 public:
  explicit Listener(std::chrono::milliseconds patience)
      : server(new QTcpServer), longestSilence(patience) {
    server->setMaxPendingConnections(kMostWaiting);
  }

  void start(Handlers given) override {
    handlers = std::move(given);
    QObject::connect(server.get(), &QTcpServer::newConnection, [this] { accept(); });
    QTimer::singleShot(0, server.get(), [this] {
      // Copies, for what is called may end the listener.
      const Handlers copy = handlers;
      if (server->listen(QHostAddress::LocalHost))
        copy.ready();
      else
        copy.failed(server->errorString().toStdString());
    });
  }

  [[nodiscard]] std::optional<std::uint16_t> port() const override {
    return server->isListening() ? std::optional(server->serverPort()) : std::nullopt;
  }

  void cancel() override {
    server->disconnect();
    server->close();
  }

 private:
  void accept() {
    const Handlers copy = handlers;
    QTcpServer* const listening = server.get();
    while (listening->isListening() && listening->hasPendingConnections()) {
      const auto connection =
          std::make_shared<Connection>(listening->nextPendingConnection(), longestSilence);
      remember(connection);
      copy.newConnection(connection);
    }
  }
  /// Whoever says something does so at once, so when there are too many the oldest has to go.
  void remember(const std::shared_ptr<Connection>& connection) {
    std::erase_if(open, [](const auto& one) { return one.expired(); });
    if (open.size() == kMostOpen) {
      open.front().lock()->ended();
      open.pop_front();
    }
    open.push_back(connection);
  }

  std::unique_ptr<QTcpServer, DeleteLater> server;
  const std::chrono::milliseconds longestSilence;
  std::deque<std::weak_ptr<Connection>> open;
  Handlers handlers;
};

}  // namespace

std::variant<std::shared_ptr<LoopbackListener>, std::string> QtLoopbackListeners::create() {
  return std::make_shared<Listener>(longestSilence);
}

}  // namespace quorvex
