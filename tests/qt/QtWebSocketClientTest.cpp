#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QWebSocket>
#include <QWebSocketServer>
#include <future>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "linux/qt/QtWebSocketClient.h"
#include "qt/RawServer.h"

namespace quorvex {
namespace {

using test::RawServer;
using testing::HasSubstr;
using Received = WebSocketTask::Received;
using Connection = RawServer::Connection;

constexpr std::chrono::seconds kDeadline{30};
constexpr int kLimit = 8 * 1024 * 1024;

template <class Result>
Result await(std::future<Result> future) {
  if (future.wait_for(kDeadline) != std::future_status::ready) {
    ADD_FAILURE() << "nothing came";
    std::abort();
  }
  return future.get();
}

Received receive(WebSocketTask& task) {
  auto received = std::make_shared<std::promise<Received>>();
  task.receive([received](Received result) { received->set_value(std::move(result)); });
  return await(received->get_future());
}

std::optional<std::string> send(WebSocketTask& task, const std::string& text) {
  auto sent = std::make_shared<std::promise<std::optional<std::string>>>();
  task.send(text, [sent](std::optional<std::string> error) { sent->set_value(error); });
  return await(sent->get_future());
}

/// A real WebSocket server on a thread of its own, which does what it is told
/// by text: "close N", "abort", "flood N", "text N"; anything else it
/// sends back.
class Server {
 public:
  Server() {
    std::promise<int> listening;
    thread.async([this, &listening] {
      server = std::make_unique<QWebSocketServer>("test", QWebSocketServer::NonSecureMode);
      server->listen(QHostAddress::LocalHost);
      QObject::connect(server.get(), &QWebSocketServer::newConnection, [this] { accept(); });
      listening.set_value(server->serverPort());
    });
    port = listening.get_future().get();
  }
  ~Server() {
    thread.async([this] { server.reset(); });
  }

  [[nodiscard]] std::string url(const std::string& path) const {
    return "ws://127.0.0.1:" + std::to_string(port) + path;
  }
  /// The request and the code that the first connection closed with.
  std::future<std::pair<QNetworkRequest, int>> closed() { return firstClosed.get_future(); }

 private:
  void accept() {
    QWebSocket* peer = server->nextPendingConnection();
    peer->setParent(server.get());
    QObject::connect(peer, &QWebSocket::textMessageReceived, [peer](const QString& text) {
      const int number = text.section(' ', 1).toInt();
      if (text.startsWith("close")) {
        peer->close(static_cast<QWebSocketProtocol::CloseCode>(number), "reason");
      } else if (text == "abort") {
        peer->abort();
      } else if (text.startsWith("flood")) {
        for (int i = 0; i < number; ++i) peer->sendTextMessage(QString::number(i));
      } else if (text.startsWith("text")) {
        peer->sendTextMessage(QString(number, 'x'));
      } else {
        peer->sendTextMessage(text);
      }
    });
    QObject::connect(peer, &QWebSocket::disconnected, [this, peer] {
      if (!std::exchange(anyClosed, true)) {
        firstClosed.set_value({peer->request(), peer->closeCode()});
      }
    });
  }

  std::promise<std::pair<QNetworkRequest, int>> firstClosed;
  bool anyClosed = false;
  std::unique_ptr<QWebSocketServer> server;
  int port = 0;
  NetworkThread thread;  // ends before what its tasks use
};

class QtWebSocketClientTest : public testing::Test {
 protected:
  std::shared_ptr<WebSocketTask> open(const std::string& url) {
    auto task = client.webSocketTask({url, {{"Authorization", "Bearer t"}}, Seconds{2}});
    task->resume();
    return task;
  }

  const std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  QtWebSocketClient client{network};
};

TEST_F(QtWebSocketClientTest, sendsItsHeadersAndTheCookiesOfHttp) {
  RawServer http([](Connection& connection) {
    connection.request();
    connection.write(test::httpReply("200 OK", "Set-Cookie: lb=node7\r\n", "{}"));
  });
  QtHttpClient httpClient(network);
  std::promise<void> replied;
  httpClient.send({"GET", http.url("/"), {}, {}, Seconds{20}},
                  [&](const HttpResult&) { replied.set_value(); });
  await(replied.get_future());
  Server server;
  auto task = open(server.url("/ws/status?client_id=c"));
  send(*task, "hello");
  task.reset();
  const auto request = await(server.closed()).first;
  EXPECT_EQ(request.url().query(), "client_id=c");
  EXPECT_EQ(request.rawHeader("Authorization"), "Bearer t");
  EXPECT_EQ(request.rawHeader("Cookie"), "lb=node7");
  EXPECT_TRUE(request.rawHeader("User-Agent").startsWith("quorvex-camera/"));
}

TEST_F(QtWebSocketClientTest, tellsTheCodeThePeerClosedWith) {
  Server server;
  for (const int code : {1000, 1001, 1011, 4000, 4001, 4999}) {
    const auto task = open(server.url("/"));
    send(*task, "close " + std::to_string(code));
    EXPECT_THAT(receive(*task).error, HasSubstr("closed with code " + std::to_string(code)));
    EXPECT_EQ(task->closeCode(), code);
    EXPECT_NE(send(*task, "too late"), std::nullopt);
    EXPECT_NE(receive(*task).error, "") << "and so does every receive after it";
  }
  const auto task = open(server.url("/"));
  send(*task, "abort");
  EXPECT_THAT(receive(*task).error, HasSubstr("was lost"));
  EXPECT_EQ(task->closeCode(), 1006);
}

TEST_F(QtWebSocketClientTest, boundsWhatAPeerCanMakeItHold) {
  Server server;
  auto task = open(server.url("/"));
  send(*task, "text " + std::to_string(kLimit));
  EXPECT_EQ(receive(*task).message->data.size(), kLimit);
  send(*task, "text " + std::to_string(kLimit + 1));
  EXPECT_NE(receive(*task).error, "");
  EXPECT_EQ(task->closeCode(), 1009);

  task = open(server.url("/"));
  send(*task, "flood 257");
  while (task->closeCode() == 0) std::this_thread::yield();
  EXPECT_EQ(task->closeCode(), 1008);
  EXPECT_EQ(receive(*task).message->data, "0");

  task = open(server.url("/"));
  for (int i = 0; i < 3; ++i) send(*task, "text " + std::to_string(kLimit));
  while (task->closeCode() == 0) std::this_thread::yield();
  EXPECT_EQ(task->closeCode(), 1008);
}

TEST_F(QtWebSocketClientTest, closesWithTheCodeOfCancelEvenWhenItIsDestroyedAtOnce) {
  Server server;
  auto task = open(server.url("/"));
  send(*task, "hello");
  receive(*task);
  auto outstanding = std::make_shared<std::promise<Received>>();
  task->receive([outstanding](Received result) { outstanding->set_value(std::move(result)); });
  task->cancel(1001);
  task.reset();
  EXPECT_EQ(await(outstanding->get_future()).error, "cancelled");
  EXPECT_EQ(await(server.closed()).second, 1001);
}

TEST_F(QtWebSocketClientTest, refusesWhatMustNotBeReached) {
  EXPECT_THAT(receive(*open("ws://service.example/?t=secret")).error,
              testing::StartsWith("ws://service.example refused: without encryption"));
  EXPECT_THAT(receive(*open("https://127.0.0.1/")).error, HasSubstr("must begin with wss://"));
  EXPECT_THAT(receive(*open("")).error, HasSubstr("not a valid wss URL"));
}

TEST_F(QtWebSocketClientTest, endsEveryRefusedOrBrokenOpeningInAnError) {
  struct Opening {
    const char* name;
    RawServer::Serve serve;
    const char* error;
  };
  const auto say = [](const std::string& reply) {
    return [reply](Connection& connection) {
      connection.request();
      connection.write(reply);
      connection.waitForEnd();
    };
  };
  const Opening openings[] = {
      {"401", say("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n"), "401"},
      {"503", say("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n"), "503"},
      {"302", say("HTTP/1.1 302 Go\r\nLocation: ws://other.example/\r\n\r\n"), "302"},
      {"plain 200", say("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"), "200"},
      {"wrong key",
       say("HTTP/1.1 101 Switching\r\nUpgrade: websocket\r\nConnection: "
           "Upgrade\r\n"
           "Sec-WebSocket-Accept: bm8=\r\n\r\n"),
       ""},
      {"garbage", say("\x01\xff\0 what\r\n\r\n"), ""},
      {"closes", [](Connection& connection) { connection.request(); }, ""},
      {"resets", [](Connection& connection) { connection.reset(); }, ""},
      {"hangs", say(""), "did not answer in time"},
      {"endless",
       [](Connection& connection) {
         connection.request();
         connection.write("HTTP/1.1 101 Switching\r\n");
         while (connection.write("X-Filler: " + std::string(9000, 'x') + "\r\n")) {
         }
       },
       ""},
  };
  for (const auto& opening : openings) {
    RawServer server(opening.serve);
    const auto task = open(server.url("/?user_uuid=secret", "ws"));
    const auto error = receive(*task).error;
    EXPECT_THAT(error, HasSubstr("the socket to " + server.url("", "ws") + " did not open: "))
        << opening.name;
    EXPECT_THAT(error, HasSubstr(opening.error)) << opening.name;
    EXPECT_THAT(error, testing::Not(HasSubstr("secret"))) << opening.name;
    EXPECT_EQ(task->closeCode(), 0) << opening.name;
  }
}

/// Answers the opening as it should and then writes `frames`.
RawServer::Serve openAndWrite(const std::string& frames) {
  return [frames](Connection& connection) {
    const auto request = QByteArray::fromStdString(connection.request());
    const auto at = request.indexOf("Sec-WebSocket-Key: ") + 19;
    const auto key = request.mid(at, request.indexOf("\r\n", at) - at);
    const auto accept = QCryptographicHash::hash(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11",
                                                 QCryptographicHash::Sha1);
    connection.write(
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
        "Connection: Upgrade\r\nSec-WebSocket-Accept: " +
        accept.toBase64().toStdString() + "\r\n\r\n" + frames);
    connection.waitForEnd();
  };
}

TEST_F(QtWebSocketClientTest, endsEveryBrokenFrameInACodeTheHostActsOn) {
  struct Broken {
    const char* name;
    std::string frames;
    int code;
  };
  const Broken all[] = {
      {"invalid UTF-8", {"\x81\x02\xc3\x28", 4}, 1007},
      {"reserved opcode", {"\x83\x00", 2}, 1002},
      {"reserved bits", {"\xf1\x00", 2}, 1002},
      {"fragmented ping", {"\x09\x00", 2}, 1002},
      {"long ping", std::string("\x89\x7e\x00\x80", 4) + std::string(128, 'x'), 1002},
      {"nothing to continue", {"\x80\x01x", 3}, 1002},
      {"announces 2^62 bytes", {"\x82\x7f\x40\0\0\0\0\0\0\0", 10}, 1009},
      {"stops in a frame", {"\x81\x05he", 4}, 1006},
      {"closes without a code", {"\x88\x00", 2}, 1000},
      {"closes with a short code", {"\x88\x01\x03", 3}, 1002},
      {"closes with a forbidden code", {"\x88\x02\x03\xee", 4}, 1002},
  };
  for (const auto& broken : all) {
    RawServer server(openAndWrite(broken.frames));
    const auto task = open(server.url("/", "ws"));
    EXPECT_NE(receive(*task).error, "") << broken.name;
    EXPECT_EQ(task->closeCode(), broken.code) << broken.name;
  }
  RawServer server(openAndWrite({"\x01\x02he\x89\x00\x80\x03llo", 11}));
  EXPECT_EQ(receive(*open(server.url("/", "ws"))).message->data, "hello")
      << "a message in two frames with a ping between them";
}

}  // namespace
}  // namespace quorvex
