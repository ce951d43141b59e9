#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <filesystem>
#include <fstream>
#include <future>
#include <list>
#include <utility>  // missing from Boost 1.74's own headers

#include "auth/AuthManager.h"
#include "auth/RedirectRequest.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeService.h"
#include "fakes/ManualQueue.h"
#include "linux/qt/QtLoopbackListener.h"
#include "linux/qt/SystemCrypto.h"
#include "support/Eventually.h"

namespace quorvex {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using ::testing::ElementsAre;

class LoopbackTest : public ::testing::Test {
 protected:
  static bool comes(const std::function<bool()>& condition) {
    return test::eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }
  tcp::socket& connect(std::uint16_t port) {
    auto& socket = clients.emplace_back(io);
    socket.connect({asio::ip::address_v4::loopback(), port});
    return socket;
  }
  /// All that a client that sends `bytes` is answered.
  static std::string answerTo(const std::string& bytes, tcp::socket& client) {
    auto answer = std::async(std::launch::async, [&client, &bytes] {
      boost::system::error_code ignored;
      asio::write(client, asio::buffer(bytes), ignored);
      std::string all;
      asio::read(client, asio::dynamic_buffer(all), ignored);
      return all;
    });
    EXPECT_TRUE(comes(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return answer.get();
  }
  std::string answerTo(const std::string& bytes, std::uint16_t port) {
    return answerTo(bytes, connect(port));
  }
  /// The addresses, in hexadecimal, at which anybody listens on `port`.
  static std::vector<std::string> listening(std::uint16_t port) {
    std::array<char, 8> suffix{};
    std::snprintf(suffix.data(), suffix.size(), ":%04X", port);
    std::vector<std::string> found;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
      std::ifstream file(table);
      for (std::string line, slot, local, remote, state; std::getline(file, line);) {
        std::istringstream(line) >> slot >> local >> remote >> state;
        if (local.ends_with(suffix.data()) && state == "0A")
          found.push_back(local.substr(0, local.find(':')));
      }
    }
    return found;
  }

  asio::io_context io;
  std::list<tcp::socket> clients;
};

class QtLoopbackListenerTest : public LoopbackTest {
 protected:
  void SetUp() override {
    listener->start({.ready = [this] { ready = true; },
                     .failed = [](const std::string& error) { ADD_FAILURE() << error; },
                     .newConnection =
                         [this](const std::shared_ptr<LoopbackConnection>& connection) {
                           connection->receive(8192, [this, connection](const auto& bytes) {
                             received.push_back(bytes ? static_cast<int>(bytes->size()) : -1);
                             if (!bytes) return connection->cancel();
                             connection->send(page, [connection] { connection->cancel(); });
                           });
                         }});
    EXPECT_FALSE(listener->port()) << "nothing happens before start has returned";
    ASSERT_TRUE(comes([&] { return ready; }));
  }

  const std::string page = "HTTP/1.1 200 OK\r\n\r\n" + std::string(100'000, 'x');
  bool ready = false;
  std::vector<int> received;  ///< bytes of each first read, -1 for none
  std::shared_ptr<LoopbackListener> listener = std::get<std::shared_ptr<LoopbackListener>>(
      QtLoopbackListeners(std::chrono::milliseconds(300)).create());
};

TEST_F(QtLoopbackListenerTest, answersWhoSpeaksAmongThoseWhoDoNot) {
  const auto port = *listener->port();
  for (int i = 0; i < 8; ++i) connect(port);
  EXPECT_EQ(answerTo("GET / HTTP/1.1\r\n\r\n", port), page);
  EXPECT_EQ(answerTo("G", port), page) << "one read is one read";
  answerTo(std::string(1 << 20, 'y'), port);
  EXPECT_LE(received.back(), 8192);
  connect(port).close();
  EXPECT_TRUE(comes([&] { return received.size() == 12; }));
  EXPECT_EQ(std::count(received.begin(), received.end(), -1), 9) << "the silent are let go";
}

const std::string kGuess = "GET /cb?code=c&state=" + std::string(43, 'A') + " HTTP/1.1\r\n\r\n";

/// AuthManager on real sockets.
class WholeSignInTest : public LoopbackTest {
 protected:
  /// The port and the state of an attempt that has opened the browser.
  std::pair<std::uint16_t, std::string> signIn() {
    outcome.clear();
    workspace.opened.clear();
    auth->signIn(
        [this](const auto& failure) { outcome = failure ? description(*failure) : "signed in"; });
    EXPECT_TRUE(comes([&] { return !workspace.opened.empty(); }));
    const std::string url = workspace.opened.back();
    return {static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))),
            url.substr(url.find("state=") + 6, 43)};
  }

  VirtualClock clock;
  ManualQueue mainQueue{clock};
  FakeHttp http;
  FakeKeyStore keyStore;
  SystemCrypto crypto;
  QtLoopbackListeners listeners;
  FakeWorkspace workspace;
  std::string outcome;
  std::shared_ptr<AuthManager> auth = std::make_shared<AuthManager>(AuthManager::Dependencies{
      mainQueue, clock, http, keyStore, crypto, listeners, workspace, "https://web.example"});
};

TEST_F(WholeSignInTest, endsAsItMayWhoeverConnects) {
  const std::string mismatch = "state mismatch (possible CSRF) — sign-in aborted";
  struct Hostile {
    const char* name;
    int connections;
    std::string bytes, outcome;
  };
  for (const Hostile& hostile :
       std::initializer_list<Hostile>{{"says nothing", 1, "", ""},
                                      {"connects again and again", 300, "", ""},
                                      {"is no text", 1, "GET /cb?state=\xff HTTP/1.1\r\n\r\n", ""},
                                      {"says a byte a second", 1, "G", mismatch},
                                      {"sends a mebibyte", 1, std::string(1 << 20, 'y'), mismatch},
                                      {"guesses the state", 1, kGuess, mismatch}}) {
    SCOPED_TRACE(hostile.name);
    const auto [port, state] = signIn();
    EXPECT_THAT(listening(port), ElementsAre("0100007F"));
    for (int i = 0; i < hostile.connections; ++i) {
      auto& client = connect(port);
      if (!hostile.bytes.empty()) answerTo(hostile.bytes, client);
      QCoreApplication::processEvents();
    }
    const auto files = std::filesystem::directory_iterator("/proc/self/fd");
    EXPECT_LT(std::distance(files, {}), hostile.connections + 60) << "or descriptors run out";
    if (hostile.outcome.empty()) {
      EXPECT_EQ(answerTo("GET /cb?code=c&state=" + state + " HTTP/1.1\r\n\r\n", port),
                signedInPage());
      http.reply("api/native/token", 400, "no");
    }
    EXPECT_TRUE(comes([&] { return !outcome.empty(); }));
    EXPECT_EQ(outcome, hostile.outcome.empty() ? "auth HTTP 400: no" : hostile.outcome);
    EXPECT_THROW(connect(port), boost::system::system_error) << "one request is all";
    clients.clear();
  }
}

TEST_F(WholeSignInTest, showsThePageToAConnectionOfAnEarlierAttemptAndDoesNotHearIt) {
  const auto port = signIn().first;
  auto& early = connect(port);
  EXPECT_EQ(answerTo(kGuess, port), signedInPage());
  (void)signIn();
  EXPECT_EQ(answerTo(kGuess, early), signedInPage());
  EXPECT_EQ(outcome, "");
}

TEST(SystemCrypto, digestsAndIsRandom) {
  const SystemCrypto crypto;
  EXPECT_EQ(crypto.sha256("abc").substr(0, 4), "\xba\x78\x16\xbf");
  EXPECT_EQ(crypto.secureRandomBytes(64)->size(), 64u);
  EXPECT_NE(crypto.secureRandomBytes(64), crypto.secureRandomBytes(64));
}

}  // namespace
}  // namespace quorvex
