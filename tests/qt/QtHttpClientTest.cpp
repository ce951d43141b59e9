#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "linux/qt/NetworkThread.h"
#include "qt/NetworkTalk.h"
#include "qt/RawServer.h"

namespace quorvex::test {
namespace {

using namespace testing;

bool runsThreadOfQt() {
  std::string name;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name.starts_with("QNetworkAccess")) return true;
  }
  return false;
}

class QtHttpClientTest : public ::testing::Test {
 protected:
  // Qt lets go of a thread that still reads a flood once that has ended.
  void TearDown() override {
    client.reset();
    EXPECT_TRUE(eventually([] { return !runsThreadOfQt(); }));
  }

  HttpResult exchange(const HttpRequest& request) { return await(send(*client, request)); }
  std::string refusal(const HttpRequest& request) {
    return exchange(request).error.value_or("nothing was refused");
  }
  static HttpRequest get(const std::string& url) { return {"GET", url, {}, {}, Seconds{20}}; }

  const std::shared_ptr<NetworkThread> network = std::make_shared<NetworkThread>();
  std::unique_ptr<QtHttpClient> client = std::make_unique<QtHttpClient>(network, Seconds{1});
};

TEST_F(QtHttpClientTest, carriesRequestsAndRepliesOfEveryStatusAsTheyAre) {
  for (const std::string status : {"200 OK", "401 Unauthorized", "407 Proxy", "503 Busy"}) {
    RawServer server(says(httpReply(status,
                                    "Retry-After:  7.5 \r\nWWW-Authenticate: Basic "
                                    "realm=\"x\"\r\nX-Two: a\r\nX-Two: b\r\n",
                                    "what went wrong")));
    SCOPED_TRACE(status);
    const auto result = exchange({"POST",
                                  server.url("/ws/offer?a=%2B&b=c"),
                                  {{"Authorization", "Bearer t.x"}},
                                  "{\"sdp\":\"v=0\"}",
                                  Seconds{20}});
    ASSERT_EQ(result.error, std::nullopt);
    EXPECT_EQ(result.status, std::stoi(status));
    EXPECT_EQ(result.body, "what went wrong");
    ASSERT_NE(result.header("retry-after"), nullptr);
    EXPECT_THAT(*result.header("retry-after"), HasSubstr("7.5"));
    EXPECT_EQ(*result.header("x-two"), "a, b");
    const auto seen = server.requests().back();
    EXPECT_THAT(seen, StartsWith("POST /ws/offer?a=%2B&b=c HTTP/1.1\r\n"));
    EXPECT_THAT(seen, HasSubstr("\r\nAuthorization: Bearer t.x\r\n"));
    EXPECT_THAT(seen, HasSubstr("\r\nUser-Agent: quorvex-camera/"));
    EXPECT_TRUE(seen.ends_with("\r\n\r\n{\"sdp\":\"v=0\"}"));
  }
}

TEST_F(QtHttpClientTest, endsEveryBrokenReplyInAnErrorThatNamesTheServerAndNoSecret) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const struct {
    const char* name;
    RawServer::Serve serve;
    const char* error = "";
  } faults[] = {
      {"never answers", saysAndStops(""), "timed out"},
      {"closes without a word", says(""), "no reply"},
      {"no HTTP", says(std::string("\0\x01\xff\xfe\0\n\r\n\r\n", 10)), "no reply"},
      {"ends in the body", says(ok + "Content-Length: 100\r\n\r\n{\"a\":1}")},
      {"ends in an error's body", says("HTTP/1.1 500 No\r\nContent-Length: 9\r\n\r\nab"), "cut"},
      {"announces too much", says(ok + "Content-Length: 8388609\r\n\r\nx"), "larger than 8 MiB"},
      {"endless body", says(ok + "\r\n", std::string(0x10000, 'x')), "larger than 8 MiB"},
      {"endless headers", says(ok, "X-Filler: " + std::string(4000, 'x') + "\r\n"), "timed out"}};
  RawServer well(says(httpReply("200 OK", "", "{}")));
  for (const auto& [name, serve, error] : faults) {
    SCOPED_TRACE(name);
    RawServer server(serve);
    auto request = get(server.url("/path?user_uuid=secret"));
    request.headers["Authorization"] = "Bearer secret";
    const auto got = refusal(request);
    EXPECT_THAT(got, HasSubstr(error));
    EXPECT_THAT(got, HasSubstr(server.url("")));
    EXPECT_THAT(got, Not(HasSubstr("secret")));
    EXPECT_EQ(exchange(get(well.url("/"))).body, "{}") << "while the other goes on";
  }
}

TEST_F(QtHttpClientTest, refusesWhatMustNotBeSent) {
  RawServer server(says(httpReply("200 OK", "", "{}")));
  const std::string url = server.url("/");
  for (const auto& [request, why] : std::initializer_list<std::pair<HttpRequest, const char*>>{
           {get("http://127.0.0.1.service.example/x?token=secret"),
            "http://127.0.0.1.service.example refused: without encryption only this machine may "
            "be reached; use https://"},
           {get("file:///etc/passwd"), "not a valid https URL"},
           {get("https://user:pw@service.example/"), "user name"},
           {{"GET", url, {{"Authorization", "Bearer secret\r\nX-Forged: 1"}}, {}, Seconds{20}},
            "header Authorization holds a control character, which HTTP does not allow"},
           {{"GET / HTTP/1.1\r\nX: y", url, {}, {}, Seconds{20}}, "method"}}) {
    EXPECT_THAT(refusal(request), HasSubstr(why));
    EXPECT_THAT(refusal(request), Not(HasSubstr("secret")));
  }
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(QtHttpClientTest, sendsNoCredentialsAndNoBodyToAnotherOrigin) {
  RawServer other(says(httpReply("200 OK", "", "other")));
  RawServer server(says(httpReply("307 Go", "Location: " + other.url("/t") + "\r\n", "")));
  auto request = get(server.url("/"));
  request.headers["authorization"] = "Bearer secret";
  EXPECT_THAT(refusal(request),
              StartsWith("the redirect from " + server.url("") + " to " + other.url("")));
  request = get(server.url("/"));
  request.body = "secret";
  EXPECT_THAT(refusal(request), HasSubstr("was refused"));
  EXPECT_THAT(other.requests(), IsEmpty());

  EXPECT_EQ(exchange(get(server.url("/"))).body, "other");
  EXPECT_THAT(other.requests().at(0), StartsWith("GET /t "));
  RawServer outward(says(httpReply("302 Go", "Location: http://service.example/\r\n", "")));
  EXPECT_THAT(refusal(get(outward.url("/"))), HasSubstr("without encryption"));
}

TEST_F(QtHttpClientTest, endsWhatIsOutstandingOnceWhenItIsDestroyed) {
  RawServer server(saysAndStops(""));
  std::vector<std::future<HttpResult>> outstanding;
  for (int i = 0; i < 10; ++i) outstanding.push_back(send(*client, get(server.url("/"))));
  client.reset();
  for (auto& ended : outstanding) EXPECT_EQ(await(std::move(ended)).error, "cancelled");
}

}  // namespace
}  // namespace quorvex::test
