#include <gmock/gmock.h>

#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtWebSocketClient.h"
#include "qt/NetworkTalk.h"
#include "qt/RawServer.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

using namespace testing;
using Peer = boost::beast::websocket::stream<boost::asio::ip::tcp::socket&>;

constexpr std::size_t kLimit = 8 << 20;

/// Opens the WebSocket as a service should and does the rest as told.
RawServer::Serve opened(const std::function<void(Peer&, RawServer&)>& serve) {
  return [serve](RawServer& server) {
    Peer peer(server.client);
    peer.accept(boost::asio::buffer(server.request()));
    serve(peer, server);
  };
}

class QtWebSocketClientTest : public ::testing::Test {
 protected:
  std::shared_ptr<WebSocketTask> open(const std::string& url) {
    auto task = client.webSocketTask({url, {{"Authorization", "Bearer t"}}, Seconds{2}});
    task->resume();
    return task;
  }

  static std::optional<std::string> send(WebSocketTask& task, const std::string& text) {
    return await(begin<std::optional<std::string>>([&](auto done) { task.send(text, done); }));
  }

  const std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  QtWebSocketClient client{network};
};

TEST_F(QtWebSocketClientTest, sendsItsHeadersTheCookiesOfHttpAndTheCodeOfCancelEvenAtItsEnd) {
  RawServer http(says(httpReply("200 OK", "Set-Cookie: lb=node7; Path=/; HttpOnly\r\n", "{}")));
  QtHttpClient httpClient(network);
  for (const char* path : {"/api/first", "/ws/second"})
    await(test::send(httpClient, {"GET", http.url(path), {}, {}, Seconds{20}}));
  EXPECT_THAT(http.requests().at(1), HasSubstr("\r\nCookie: lb=node7\r\n"));

  std::promise<int> closed;
  RawServer server(opened([&](Peer& peer, RawServer&) {
    boost::beast::flat_buffer heard;
    boost::system::error_code end;
    while (!end) peer.read(heard, end);
    closed.set_value(peer.reason().code);
  }));
  auto task = open(server.url("/ws/status?client_id=c", "ws"));
  EXPECT_EQ(send(*task, "hello"), std::nullopt);
  auto outstanding = receive(*task);
  task->cancel(1001);
  task.reset();
  EXPECT_EQ(await(std::move(outstanding)).error, "cancelled");
  EXPECT_EQ(await(closed.get_future()), 1001);
  for (const char* part : {"GET /ws/status?client_id=c HTTP/1.1\r\n", "Authorization: Bearer t\r\n",
                           "Cookie: lb=node7\r\n", "User-Agent: quorvex-camera/"})
    EXPECT_THAT(server.requests().at(0), HasSubstr(part));
}

TEST_F(QtWebSocketClientTest, boundsWhatAPeerCanMakeItHold) {
  const struct {
    std::size_t count, size;
    int code;
  } kCases[] = {{1, kLimit, 1000}, {1, kLimit + 1, 1009}, {257, 1, 1008}, {3, kLimit, 1008}};
  for (const auto& [count, size, code] : kCases) {
    RawServer server(opened([count = count, size = size](Peer& peer, RawServer&) {
      boost::system::error_code end;
      const std::string text(size, 'x');
      for (std::size_t i = 0; i < count && !end; ++i) peer.write(boost::asio::buffer(text), end);
      peer.close(boost::beast::websocket::close_code::normal, end);
    }));
    const auto task = open(server.url("/", "ws"));
    EXPECT_TRUE(eventually([&] { return task->closeCode() != 0; }));
    EXPECT_EQ(task->closeCode(), code) << count << " of " << size;
    const auto first = await(receive(*task)).message;
    EXPECT_EQ(first ? first->data.size() : 0, size <= kLimit ? size : 0);
  }
}

TEST_F(QtWebSocketClientTest, endsEveryRefusedOrBrokenOpeningInAnError) {
  const struct {
    const char* name;
    RawServer::Serve serve;
    const char* error = "";
  } openings[] = {{"refuses", saysAndStops(httpReply("401 Unauthorized", "", "")), "401"},
                  {"garbage", saysAndStops("\x01\xff what\r\n\r\n")},
                  {"closes", says(""), "closed the connection"},
                  {"hangs", saysAndStops(""), "did not answer in time"},
                  {"endless", says("HTTP/1.1 101 Switching\r\n",
                                   "X-Filler: " + std::string(9000, 'x') + "\r\n")}};
  for (const auto& [name, serve, expected] : openings) {
    SCOPED_TRACE(name);
    RawServer server(serve);
    const auto task = open(server.url("/?user_uuid=secret", "ws"));
    const auto error = await(receive(*task)).error;
    EXPECT_THAT(error, HasSubstr("the socket to " + server.url("", "ws") + " did not open: "));
    EXPECT_THAT(error, HasSubstr(expected));
    EXPECT_THAT(error, Not(HasSubstr("secret")));
    EXPECT_EQ(task->closeCode(), 0);
  }
  EXPECT_THAT(await(receive(*open("ws://service.example/?t=secret"))).error,
              HasSubstr("ws://service.example refused: without encryption"));
}

TEST_F(QtWebSocketClientTest, endsEveryCloseAndBrokenFrameInACodeTheHostActsOn) {
  const struct {
    const char* name;
    std::string frames;
    int code;
    const char* error = "";
  } kCases[] = {
      {"closes well", {"\x88\x02\x03\xe8", 4}, 1000, "closed with code 1000"},
      {"goes away, with a reason", {"\x88\x05\x03\xe9why", 7}, 1001, "closed with code 1001"},
      {"rejects the token", {"\x88\x02\x0f\xa1", 4}, 4001, "closed with code 4001"},
      {"closes with a short code", {"\x88\x01\x03", 3}, 1002},
      {"invalid UTF-8", {"\x81\x02\xc3\x28", 4}, 1007},
      {"announces 2^62 bytes", {"\x82\x7f\x40\0\0\0\0\0\0\0", 10}, 1009},
      {"stops in a frame", {"\x81\x05he", 4}, 1006, "was lost"},
      {"vanishes", "", 1006, "was lost"}};
  for (const auto& [name, frames, code, error] : kCases) {
    SCOPED_TRACE(name);
    RawServer server(opened([&bytes = frames](Peer&, RawServer& connection) {
      connection.write(bytes);
      if (!bytes.empty()) connection.waitForEnd();
    }));
    const auto task = open(server.url("/", "ws"));
    EXPECT_THAT(await(receive(*task)).error, HasSubstr(error));
    EXPECT_EQ(task->closeCode(), code);
    EXPECT_NE(send(*task, "too late"), std::nullopt);
    EXPECT_NE(await(receive(*task)).error, "") << "and so does every receive after it";
  }
}

TEST_F(QtWebSocketClientTest, sendsNothingUnderACertificateThatNobodyTrustedSigned) {
  const TemporaryFolder folder;
  ChildProcess server(
      {"sh", "-c",
       "cd " + (folder / "") +
           " && mkfifo input && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
           "-nodes -days 2 -subj /CN=test -addext subjectAltName=IP:127.0.0.1 -keyout key -out "
           "certificate && exec openssl s_server -accept 127.0.0.1:0 -key key -cert certificate "
           "<> input"},
      "openssl", folder / "output");
  const auto printed = [&] { return contentOf(folder / "output"); };
  std::string host;
  ASSERT_TRUE(eventually([&] {
    const auto text = printed();
    const auto at = text.find("ACCEPT "), end = text.find('\n', at);
    if (end != std::string::npos) host = "://" + text.substr(at + 7, end - at - 7) + "/";
    return !host.empty();
  })) << printed();

  QtHttpClient http(network);
  // It serves one after the other: with the last one's end, what the others sent has been printed.
  for (int i = 0; i < 2; ++i) {
    const auto request = HttpRequest{"GET", "https" + host, {{"X-Key", "t"}}, {}, Seconds{20}};
    EXPECT_THAT(await(test::send(http, request)).error.value_or(""), HasSubstr("self-signed"));
    const auto task = client.webSocketTask({"wss" + host, {{"X-Key", "t"}}, Seconds{20}});
    task->resume();
    EXPECT_THAT(await(receive(*task)).error, HasSubstr("self-signed"));
  }
  EXPECT_THAT(printed(), Not(HasSubstr("X-Key")));
}

}  // namespace
}  // namespace quorvex::test
