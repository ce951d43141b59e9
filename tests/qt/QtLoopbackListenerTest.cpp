#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <fstream>
#include <future>
#include <list>
#include <utility>  // missing from Boost 1.74's own headers

#include "linux/qt/QtLoopbackListener.h"
#include "linux/qt/SystemCrypto.h"
#include "support/Eventually.h"

namespace quorvex {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

class QtLoopbackListenerTest : public ::testing::Test {
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

  static bool comes(const std::function<bool()>& condition) {
    return test::eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }
  tcp::socket& connect() {
    auto& socket = clients.emplace_back(io);
    socket.connect({asio::ip::address_v4::loopback(), *listener->port()});
    return socket;
  }
  /// All that a client that sends `bytes` is answered.
  std::string answerTo(std::string bytes) {
    auto& socket = connect();
    auto answer = std::async(std::launch::async, [&socket, bytes = std::move(bytes)] {
      boost::system::error_code ignored;
      asio::write(socket, asio::buffer(bytes), ignored);
      std::string all;
      asio::read(socket, asio::dynamic_buffer(all), ignored);
      return all;
    });
    EXPECT_TRUE(comes(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return answer.get();
  }

  const std::string page = "HTTP/1.1 200 OK\r\n\r\n" + std::string(100'000, 'x');
  bool ready = false;
  std::vector<int> received;  ///< bytes of each first read, -1 for none
  asio::io_context io;
  std::list<tcp::socket> clients;
  std::shared_ptr<LoopbackListener> listener = std::get<std::shared_ptr<LoopbackListener>>(
      QtLoopbackListeners(std::chrono::milliseconds(300)).create());
};

TEST_F(QtLoopbackListenerTest, answersWhoSpeaksAmongThoseWhoDoNot) {
  for (int i = 0; i < 8; ++i) connect();
  EXPECT_EQ(answerTo("GET / HTTP/1.1\r\n\r\n"), page);
  EXPECT_EQ(answerTo("G"), page) << "one read is one read";
  answerTo(std::string(1 << 20, 'y'));
  EXPECT_LE(received.back(), 8192);
  connect().close();
  EXPECT_TRUE(comes([&] { return received.size() == 12; }));
  EXPECT_EQ(std::count(received.begin(), received.end(), -1), 9) << "the silent are let go";
}

TEST_F(QtLoopbackListenerTest, listensOnLoopbackOnlyAndNotAfterItsEnd) {
  const auto port = *listener->port();
  const auto listening = [&](const char* table) {
    std::array<char, 8> suffix{};
    std::snprintf(suffix.data(), suffix.size(), ":%04X ", port);
    std::vector<std::string> found;
    std::ifstream file(table);
    for (std::string line; std::getline(file, line);) {
      const auto place = line.find(suffix.data());
      if (place != std::string::npos && place < 16 && line.find(" 0A ") != std::string::npos)
        found.push_back(line.substr(place - 8, 8));
    }
    return found;
  };
  EXPECT_THAT(listening("/proc/net/tcp"), ::testing::ElementsAre("0100007F"));
  EXPECT_THAT(listening("/proc/net/tcp6"), ::testing::IsEmpty());
  listener->cancel();
  tcp::socket late(io);
  EXPECT_THROW(late.connect({asio::ip::address_v4::loopback(), port}), boost::system::system_error);
}

TEST(SystemCrypto, digestsAndIsRandom) {
  const SystemCrypto crypto;
  EXPECT_EQ(crypto.sha256("abc").substr(0, 4), "\xba\x78\x16\xbf");
  EXPECT_EQ(crypto.secureRandomBytes(64)->size(), 64u);
  EXPECT_NE(crypto.secureRandomBytes(64), crypto.secureRandomBytes(64));
}

}  // namespace
}  // namespace quorvex
