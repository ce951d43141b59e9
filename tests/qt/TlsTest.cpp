#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>
#include <atomic>
#include <cstdlib>
#include <future>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtWebSocketClient.h"
#include "support/TemporaryFolder.h"

namespace quorvex {
namespace {

using testing::HasSubstr;

/// A TLS server on a thread of its own, with a certificate for 127.0.0.1 that it signed itself.
class SelfSignedServer {
 public:
  SelfSignedServer() {
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj "
        "/CN=test -addext subjectAltName=IP:127.0.0.1 -keyout " +
        (folder / "key.pem") + " -out " + (folder / "cert.pem") + " 2> " + (folder / "openssl.log");
    EXPECT_EQ(std::system(command.c_str()), 0) << "openssl is needed to make a certificate";
    std::promise<int> listening;
    thread.async([this, &listening] { listening.set_value(listen()); });
    port = listening.get_future().get();
  }
  ~SelfSignedServer() {
    thread.async([this] { server.reset(); });
  }

  int port = 0;
  std::atomic<int> requests = 0;

 private:
  int listen() {
    auto configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(
        QSslCertificate::fromPath(QString::fromStdString(folder / "cert.pem")).value(0));
    QFile key(QString::fromStdString(folder / "key.pem"));
    EXPECT_TRUE(key.open(QIODevice::ReadOnly));
    configuration.setPrivateKey({&key, QSsl::Ec});
    server = std::make_unique<QSslServer>();
    server->setSslConfiguration(configuration);
    server->listen(QHostAddress::LocalHost);
    QObject::connect(server.get(), &QSslServer::pendingConnectionAvailable, [this] {
      QTcpSocket* peer = server->nextPendingConnection();
      QObject::connect(peer, &QTcpSocket::readyRead, [this] { ++requests; });
    });
    return server->serverPort();
  }

  const test::TemporaryFolder folder;
  std::unique_ptr<QSslServer> server;
  NetworkThread thread;  // ends before what its tasks use
};

TEST(Tls, refusesACertificateThatNobodyTrustedSigned) {
  SelfSignedServer server;
  const auto network = std::make_shared<NetworkThread>();
  const auto host = "://127.0.0.1:" + std::to_string(server.port) + "/";

  QtHttpClient http(network);
  std::promise<HttpResult> replied;
  http.send({"GET", "https" + host, {{"Authorization", "Bearer t"}}, {}, Seconds{20}},
            [&](HttpResult result) { replied.set_value(std::move(result)); });
  EXPECT_THAT(replied.get_future().get().error.value_or(""), HasSubstr("self-signed"));

  QtWebSocketClient sockets(network);
  const auto task = sockets.webSocketTask({"wss" + host, {}, Seconds{20}});
  task->resume();
  std::promise<std::string> ended;
  task->receive([&](WebSocketTask::Received received) { ended.set_value(received.error); });
  EXPECT_THAT(ended.get_future().get(), HasSubstr("self-signed"));
  EXPECT_EQ(server.requests, 0) << "nothing was sent";
}

}  // namespace
}  // namespace quorvex
