#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QWebSocket>
#include <QWebSocketServer>
#include <filesystem>
#include <future>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtWebSocketClient.h"

namespace quorvex {
namespace {

using testing::HasSubstr;

/// An HTTPS and a WSS server on a thread of their own, with a certificate for 127.0.0.1 that they
/// signed themselves.
class TlsServers {
 public:
  TlsServers() {
    configuration.setLocalCertificate(certificate());
    configuration.setPrivateKey(key());
    std::promise<void> listening;
    thread.async([this, &listening] {
      listen();
      listening.set_value();
    });
    listening.get_future().wait();
  }
  ~TlsServers() {
    thread.async([this] {
      https.reset();
      wss.reset();
    });
    std::filesystem::remove_all(folder);
  }

  [[nodiscard]] QSslCertificate certificate() const {
    return QSslCertificate::fromPath(QString::fromStdString(folder + "/cert.pem")).value(0);
  }
  [[nodiscard]] QSslKey key() const {
    QFile file(QString::fromStdString(folder + "/key.pem"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return {&file, QSsl::Ec};
  }

  int httpsPort = 0;
  int wssPort = 0;
  std::atomic<int> requests = 0;
  std::promise<int> closeCode;

 private:
  static std::string makeCertificate() {
    char name[] = "/tmp/quorvex-tls-XXXXXX";
    const std::string made = mkdtemp(name);
    const std::string command =
        "cd " + made +
        " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2"
        " -subj /CN=test -addext subjectAltName=IP:127.0.0.1 -keyout key.pem -out cert.pem"
        " > openssl.log 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << "openssl is needed to make a certificate";
    return made;
  }

  void listen() {
    https = std::make_unique<QSslServer>();
    https->setSslConfiguration(configuration);
    https->listen(QHostAddress::LocalHost);
    QObject::connect(https.get(), &QSslServer::pendingConnectionAvailable, [this] {
      QTcpSocket* peer = https->nextPendingConnection();
      QObject::connect(peer, &QTcpSocket::readyRead, [this, peer] {
        peer->readAll();
        ++requests;
        peer->write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
      });
    });
    httpsPort = https->serverPort();
    wss = std::make_unique<QWebSocketServer>("test", QWebSocketServer::SecureMode);
    wss->setSslConfiguration(configuration);
    wss->listen(QHostAddress::LocalHost);
    QObject::connect(wss.get(), &QWebSocketServer::newConnection, [this] {
      QWebSocket* peer = wss->nextPendingConnection();
      peer->setParent(wss.get());
      ++requests;
      peer->sendTextMessage("hello");
      QObject::connect(peer, &QWebSocket::disconnected,
                       [this, peer] { closeCode.set_value(peer->closeCode()); });
    });
    wssPort = wss->serverPort();
  }

  const std::string folder = makeCertificate();
  QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
  std::unique_ptr<QSslServer> https;
  std::unique_ptr<QWebSocketServer> wss;
  NetworkThread thread;
};

class TlsTest : public testing::Test {
 protected:
  ~TlsTest() override { QSslConfiguration::setDefaultConfiguration(before); }

  HttpResult get(const std::string& host) {
    const auto url = "https://" + host + ":" + std::to_string(servers.httpsPort) + "/";
    std::promise<HttpResult> ended;
    http.send({"GET", url, {{"Authorization", "Bearer t"}}, {}, Seconds{20}},
              [&](HttpResult result) { ended.set_value(std::move(result)); });
    return ended.get_future().get();
  }

  WebSocketTask::Received receive(const std::string& host) {
    const auto url = "wss://" + host + ":" + std::to_string(servers.wssPort) + "/";
    task = sockets.webSocketTask({url, {{"Authorization", "Bearer t"}}, Seconds{20}});
    task->resume();
    std::promise<WebSocketTask::Received> received;
    task->receive([&](WebSocketTask::Received result) { received.set_value(std::move(result)); });
    return received.get_future().get();
  }

  const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
  TlsServers servers;
  const std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  QtHttpClient http{network};
  QtWebSocketClient sockets{network};
  std::shared_ptr<WebSocketTask> task;
};

TEST_F(TlsTest, refusesACertificateThatNobodyTrustedSigned) {
  EXPECT_THAT(get("127.0.0.1").error.value_or(""), HasSubstr("self-signed"));
  EXPECT_THAT(receive("127.0.0.1").error, HasSubstr("self-signed"));
  EXPECT_EQ(servers.requests, 0) << "nothing was sent";
}

TEST_F(TlsTest, takesACertificateThatIsTrustedButOnlyForItsHost) {
  auto trusting = before;
  trusting.addCaCertificate(servers.certificate());
  QSslConfiguration::setDefaultConfiguration(trusting);
  EXPECT_THAT(get("localhost").error.value_or(""), HasSubstr("host name"));
  EXPECT_THAT(receive("localhost").error, HasSubstr("host name"));
  EXPECT_EQ(servers.requests, 0);

  EXPECT_EQ(get("127.0.0.1").body, "{}");
  EXPECT_EQ(receive("127.0.0.1").message.value_or(WebSocketMessage{}).data, "hello");
  task->cancel(1001);
  task.reset();
  EXPECT_EQ(servers.closeCode.get_future().get(), 1001);
}

}  // namespace
}  // namespace quorvex
