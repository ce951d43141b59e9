#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtWebSocketClient.h"
#include "qt/NetworkTalk.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

using ::testing::HasSubstr;

TEST(Tls, sendsNothingUnderACertificateThatNobodyTrustedSigned) {
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

  const auto network = std::make_shared<NetworkThread>();
  QtHttpClient http(network);
  QtWebSocketClient sockets(network);
  // It serves one after the other: with the last one's end, what the others sent has been printed.
  for (int i = 0; i < 2; ++i) {
    const auto request = HttpRequest{"GET", "https" + host, {{"X-Key", "t"}}, {}, Seconds{20}};
    EXPECT_THAT(await(send(http, request)).error.value_or(""), HasSubstr("self-signed"));
    const auto task = sockets.webSocketTask({"wss" + host, {{"X-Key", "t"}}, Seconds{20}});
    task->resume();
    EXPECT_THAT(await(receive(*task)).error, HasSubstr("self-signed"));
  }
  EXPECT_THAT(printed(), Not(HasSubstr("X-Key")));
}

}  // namespace
}  // namespace quorvex::test
