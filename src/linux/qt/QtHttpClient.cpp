#include "linux/qt/QtHttpClient.h"

#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <map>
#include <utility>

#include "linux/qt/HttpExchange.h"
#include "linux/qt/NetworkThread.h"

namespace quorvex {

/// The outstanding exchanges. Used on the network thread only.
class QtHttpClient::Exchanges {
 public:
  void open(QNetworkCookieJar& cookies) {
    manager = std::make_unique<QNetworkAccessManager>();
    manager->setCookieJar(&cookies);
    cookies.setParent(nullptr);  // shared: the manager must not delete it
  }

  void begin(const HttpRequest& request, Seconds idle, Completion completion) {
    auto exchange = std::make_unique<HttpExchange>(idle);
    HttpExchange& begun = *exchange;
    running.emplace(&begun, std::move(exchange));
    begun.begin(*manager, request,
                [this, &begun, completion = std::move(completion)](HttpResult result) {
                  const auto ended = running.extract(&begun);
                  completion(std::move(result));
                });
  }

  void cancelAll() {
    while (!running.empty()) running.begin()->second->fail("cancelled");
    manager.reset();
  }

 private:
  std::unique_ptr<QNetworkAccessManager> manager;
  std::map<HttpExchange*, std::unique_ptr<HttpExchange>> running;
};

QtHttpClient::QtHttpClient(std::shared_ptr<NetworkThread> networkThread, Seconds idle)
    : network(std::move(networkThread)),
      idleTimeout(idle),
      exchanges(std::make_shared<Exchanges>()) {
  network->async(
      [exchanges = exchanges, &cookies = network->cookies()] { exchanges->open(cookies); });
}

QtHttpClient::~QtHttpClient() {
  network->async([exchanges = std::move(exchanges)] { exchanges->cancelAll(); });
}

void QtHttpClient::send(HttpRequest request, Completion completion) {
  network->async([exchanges = exchanges, idle = idleTimeout, request = std::move(request),
                  completion = std::move(completion)]() mutable {
    exchanges->begin(request, idle, std::move(completion));
  });
}

}  // namespace quorvex
