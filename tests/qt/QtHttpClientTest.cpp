#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "linux/qt/NetworkThread.h"
#include "linux/qt/QtHttpClient.h"
#include "qt/RawServer.h"

namespace quorvex {
namespace {

using test::httpReply;
using test::RawServer;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Connection = RawServer::Connection;

constexpr std::chrono::seconds kDeadline{30};

class QtHttpClientTest : public testing::Test {
 protected:
  std::future<HttpResult> begin(HttpRequest request) {
    auto ended = std::make_shared<std::promise<HttpResult>>();
    client->send(std::move(request),
                 [ended](HttpResult result) { ended->set_value(std::move(result)); });
    return ended->get_future();
  }

  HttpResult exchange(HttpRequest request) {
    auto ended = begin(std::move(request));
    if (ended.wait_for(kDeadline) != std::future_status::ready) {
      ADD_FAILURE() << "no end";
      std::abort();
    }
    return ended.get();
  }

  static HttpRequest get(const std::string& url) { return {"GET", url, {}, {}, Seconds{20}}; }

  std::unique_ptr<QtHttpClient> client =
      std::make_unique<QtHttpClient>(std::make_shared<NetworkThread>(), Seconds{1});
};

RawServer::Serve always(const std::string& bytes) {
  return [bytes](Connection& connection) {
    connection.request();
    connection.write(bytes);
  };
}

TEST_F(QtHttpClientTest, sendsTheRequestAsItIsGiven) {
  RawServer server(always(httpReply("200 OK", "", "{}")));
  exchange({"POST",
            server.url("/ws/offer?a=%2B&b=c"),
            {{"Authorization", "Bearer t.x"}, {"Content-Type", "application/json"}},
            "{\"sdp\":\"v=0\"}",
            Seconds{20}});
  const auto seen = server.requests().at(0);
  EXPECT_THAT(seen, StartsWith("POST /ws/offer?a=%2B&b=c HTTP/1.1\r\n"));
  EXPECT_THAT(seen, HasSubstr("\r\nAuthorization: Bearer t.x\r\n"));
  EXPECT_THAT(seen, HasSubstr("\r\nContent-Type: application/json\r\n"));
  EXPECT_THAT(seen, HasSubstr("\r\nUser-Agent: quorvex-camera/"));
  EXPECT_THAT(seen, HasSubstr("\r\n\r\n{\"sdp\":\"v=0\"}"));
}

TEST_F(QtHttpClientTest, deliversEveryStatusWithItsHeadersAndBody) {
  const std::string statuses[] = {"200 OK",        "400 Bad Request", "401 Unauthorized",
                                  "404 Not Found", "407 Proxy",       "418 Teapot",
                                  "500 Server",    "503 Busy",        "599 Odd"};
  for (const auto& status : statuses) {
    const std::string headers =
        "Retry-After:  7.5 \r\nWWW-Authenticate: Basic "
        "realm=\"x\"\r\nX-Two: a\r\nX-Two: b\r\n";
    RawServer server(always(httpReply(status, headers, "what went wrong")));
    for (const auto& method : {"GET", "POST"}) {
      auto request = get(server.url("/"));
      request.method = method;
      if (request.method == "POST") request.body = "{}";
      const auto result = exchange(request);
      ASSERT_EQ(result.error, std::nullopt) << status << ": " << *result.error;
      EXPECT_EQ(result.status, std::stoi(status));
      EXPECT_EQ(result.body, "what went wrong") << status;
      ASSERT_NE(result.header("retry-after"), nullptr) << status;
      EXPECT_THAT(*result.header("retry-after"), HasSubstr("7.5"));
      EXPECT_EQ(*result.header("x-two"), "a, b");
    }
  }
}

struct Fault {
  const char* name;
  RawServer::Serve serve;
  const char* error;
};

TEST_F(QtHttpClientTest, endsEveryBrokenReplyInAnErrorThatNamesTheServerAndNoSecret) {
  const Fault faults[] = {
      {"never answers", [](Connection& c) { c.waitForEnd(); }, "timed out"},
      {"closes without a word", [](Connection& c) { c.request(); }, "no reply"},
      {"resets", [](Connection& c) { c.request(), c.reset(); }, "no reply"},
      {"no HTTP", always("SSH-2.0-OpenSSH_9.2\r\n\r\n"), ""},
      {"binary", always(std::string("\0\x01\xff\xfe\0\n\r\n\r\n", 10)), ""},
      {"no status", always("HTTP/1.1 abc\r\n\r\n"), ""},
      {"ends in the status", always("HTTP/1.1 20"), ""},
      {"ends in the headers", always("HTTP/1.1 200 OK\r\nContent-Le"), ""},
      {"ends in the body", always("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"a\":1}"), ""},
      {"ends before the body", always("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n"), ""},
      {"ends in an error's body", always("HTTP/1.1 500 No\r\nContent-Length: 9\r\n\r\nab"), ""},
      {"stops in the body",
       [](Connection& c) {
         c.request();
         c.write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{");
         c.waitForEnd();
       },
       "timed out"},
      {"announces too much", always("HTTP/1.1 200 OK\r\nContent-Length: 8388609\r\n\r\nx"),
       "larger than 8 MiB"},
      {"endless chunks",
       [](Connection& c) {
         c.request();
         c.write("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
         while (c.write("10000\r\n" + std::string(0x10000, 'x') + "\r\n")) {
         }
       },
       "larger than 8 MiB"},
      {"endless body",
       [](Connection& c) {
         c.request();
         c.write("HTTP/1.1 200 OK\r\n\r\n");
         while (c.write(std::string(0x10000, 'x'))) {
         }
       },
       "larger than 8 MiB"},
      {"endless headers",
       [](Connection& c) {
         c.request();
         c.write("HTTP/1.1 200 OK\r\n");
         while (c.write("X-Filler: " + std::string(4000, 'x') + "\r\n")) {
         }
       },
       ""},
  };
  for (const auto& fault : faults) {
    RawServer server(fault.serve);
    auto request = get(server.url("/path?user_uuid=secret"));
    request.headers["Authorization"] = "Bearer secret";
    const auto result = exchange(request);
    ASSERT_TRUE(result.error) << fault.name << " gave status " << result.status;
    EXPECT_THAT(*result.error, HasSubstr(fault.error)) << fault.name;
    EXPECT_THAT(*result.error, HasSubstr(server.url(""))) << fault.name;
    EXPECT_THAT(*result.error, Not(HasSubstr("secret"))) << fault.name;
  }
}

TEST_F(QtHttpClientTest, refusesWhatMustNotBeSent) {
  RawServer server(always(httpReply("200 OK", "", "{}")));
  const auto refusal = [this](HttpRequest request) {
    return exchange(std::move(request)).error.value_or("nothing was refused");
  };
  EXPECT_EQ(refusal(get("http://service.example/x?token=secret")),
            "http://service.example refused: without encryption only this "
            "machine may be reached; "
            "use https://");
  EXPECT_THAT(refusal(get("http://127.0.0.1.service.example/")), HasSubstr("without encryption"));
  EXPECT_THAT(refusal(get("ftp://service.example/")), HasSubstr("must begin with https://"));
  EXPECT_THAT(refusal(get("file:///etc/passwd")), HasSubstr("not a valid https URL"));
  EXPECT_THAT(refusal(get("https://")), HasSubstr("not a valid https URL"));
  EXPECT_THAT(refusal(get("")), HasSubstr("not a valid https URL"));
  EXPECT_THAT(refusal(get("https://user:pw@service.example/")), HasSubstr("user name"));
  auto request = get(server.url("/"));
  request.headers["Authorization"] = "Bearer a\r\nX-Forged: 1";
  EXPECT_EQ(refusal(request),
            "header Authorization holds a control character, "
            "which HTTP does not allow");
  request.headers = {{"Bad name", "x"}};
  EXPECT_THAT(refusal(request), HasSubstr("name that HTTP does not allow"));
  request.headers = {};
  request.method = "GET / HTTP/1.1\r\nX: y";
  EXPECT_THAT(refusal(request), HasSubstr("method"));
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(QtHttpClientTest, sendsNoCredentialsAndNoBodyToAnotherOrigin) {
  RawServer other(always(httpReply("200 OK", "", "other")));
  const auto redirecting = httpReply("307 Go", "Location: " + other.url("/t") + "\r\n", "");
  RawServer server(always(redirecting));
  auto request = get(server.url("/"));
  request.headers["authorization"] = "Bearer secret";
  EXPECT_THAT(exchange(request).error.value_or(""),
              StartsWith("the redirect from " + server.url("") + " to " + other.url("")));
  request = get(server.url("/"));
  request.body = "secret";
  EXPECT_THAT(exchange(request).error.value_or(""), HasSubstr("was refused"));
  EXPECT_EQ(other.connections(), 0);

  EXPECT_EQ(exchange(get(server.url("/"))).body, "other");
  EXPECT_THAT(other.requests().at(0), StartsWith("GET /t "));
  RawServer outward(always(httpReply("302 Go", "Location: http://service.example/\r\n", "")));
  EXPECT_THAT(exchange(get(outward.url("/"))).error.value_or(""), HasSubstr("without encryption"));
}

TEST_F(QtHttpClientTest, sendsTheCookiesItWasGiven) {
  RawServer server(always(httpReply("200 OK", "Set-Cookie: lb=node7; Path=/; HttpOnly\r\n", "{}")));
  exchange(get(server.url("/api/first")));
  exchange(get(server.url("/ws/second")));
  EXPECT_THAT(server.requests().at(1), HasSubstr("\r\nCookie: lb=node7\r\n"));
}

TEST_F(QtHttpClientTest, endsWhatIsOutstandingOnceWhenItIsDestroyed) {
  RawServer server([](Connection& connection) { connection.waitForEnd(); });
  std::vector<std::future<HttpResult>> outstanding;
  for (int i = 0; i < 10; ++i) outstanding.push_back(begin(get(server.url("/"))));
  client.reset();  // a second call of a completion would throw from its promise
  for (auto& ended : outstanding) EXPECT_EQ(ended.get().error, "cancelled");
}

}  // namespace
}  // namespace quorvex
