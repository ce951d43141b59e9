#include "linux/qt/QtWebSocketClient.h"

#include <QNetworkCookieJar>
#include <utility>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/WebSocketConnection.h"

namespace quorvex {

namespace {

/// Hands each call over to the connection on the network thread, where it also ends.
class QtWebSocketTask : public WebSocketTask {
 public:
  QtWebSocketTask(std::shared_ptr<NetworkThread> networkThread, WebSocketRequest request)
      : network(std::move(networkThread)),
        connection(std::make_shared<WebSocketConnection>(std::move(request))) {}

  ~QtWebSocketTask() override {
    network->async([connection = std::move(connection)] { connection->drop(); });
  }

  void resume() override {
    network->async(
        [connection = connection, &cookies = network->cookies()] { connection->open(cookies); });
  }

  void receive(std::function<void(Received)> completion) override {
    network->async([connection = connection, completion = std::move(completion)]() mutable {
      connection->receive(std::move(completion));
    });
  }

  void send(std::string text,
            std::function<void(std::optional<std::string> error)> completion) override {
    network->async([connection = connection, text = std::move(text),
                    completion = std::move(completion)]() mutable {
      connection->send(std::move(text), std::move(completion));
    });
  }

  void cancel(int closeCode) override {
    network->async([connection = connection, closeCode] { connection->cancel(closeCode); });
  }

  [[nodiscard]] int closeCode() const override { return connection->closeCode(); }

 private:
  const std::shared_ptr<NetworkThread> network;
  std::shared_ptr<WebSocketConnection> connection;
};

}  // namespace

QtWebSocketClient::QtWebSocketClient(std::shared_ptr<NetworkThread> networkThread)
    : network(std::move(networkThread)) {}

std::shared_ptr<WebSocketTask> QtWebSocketClient::webSocketTask(WebSocketRequest request) {
  return std::make_shared<QtWebSocketTask>(network, std::move(request));
}

}  // namespace quorvex
