// Signing in over real sockets, whoever else connects to them.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <filesystem>
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
#include "qt/NetworkTalk.h"
#include "support/LoopbackSocket.h"

namespace quorvex {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using test::comes;

class QtLoopbackListenerTest : public SteeredTest {
 protected:
  tcp::socket connect(std::uint16_t port) { return test::connectedTo(io, port); }
  /// All that the client is answered when it says this.
  static std::string answerTo(const std::string& bytes, tcp::socket client) {
    auto answer = std::async(std::launch::async, [&] {
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

  asio::io_context io;
  FakeHttp http;
  FakeKeyStore keyStore;
  SystemCrypto crypto;
  QtLoopbackListeners listeners{std::chrono::milliseconds(300)};
  FakeWorkspace workspace;
  std::string outcome;
  std::shared_ptr<AuthManager> auth = std::make_shared<AuthManager>(AuthManager::Dependencies{
      mainQueue, clock, http, keyStore, crypto, listeners, workspace, "https://web.example"});
};

TEST_F(QtLoopbackListenerTest, endsASignInAsItMayWhoeverConnects) {
  const std::string guess = "GET /cb?code=c&state=" + std::string(43, 'A') + " HTTP/1.1\r\n\r\n";
  std::string before;
  for (const auto& bytes : {std::string(), std::string("G"), std::string(1 << 20, 'y'), guess}) {
    SCOPED_TRACE(bytes.size());
    const auto [port, state] = signIn();
    EXPECT_NE(std::exchange(before, state), state) << "states are no chance";
    EXPECT_THROW(tcp::socket(io).connect({asio::ip::make_address("127.0.0.2"), port}),
                 boost::system::system_error)
        << "it listens at other addresses too";
    EXPECT_EQ(answerTo(bytes, connect(port)), bytes.empty() ? "" : signedInPage());
    if (bytes.empty()) {
      std::list<tcp::socket> flood;
      for (int i = 0; i < 300; ++i, QCoreApplication::processEvents())
        flood.push_back(connect(port));
      const auto files = std::filesystem::directory_iterator("/proc/self/fd");
      EXPECT_LT(std::distance(files, {}), 360) << "or descriptors run out";
      EXPECT_EQ(answerTo("GET /cb?code=c&state=" + state + " HTTP/1.1\r\n\r\n", connect(port)),
                signedInPage());
      http.reply("api/native/token", 400, "no");
    }
    EXPECT_TRUE(comes([&] { return !outcome.empty(); }));
    EXPECT_EQ(outcome, bytes.empty() ? "auth HTTP 400: no"
                                     : "state mismatch (possible CSRF) — sign-in aborted");
    EXPECT_THROW(connect(port), boost::system::system_error) << "one request is all";
  }
}

}  // namespace
}  // namespace quorvex
