#include "linux/qt/QtHttpClient.h"

#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "linux/qt/HttpExchange.h"
#include "linux/qt/NetworkThread.h"

namespace quorvex {

/// The outstanding exchanges. Used on the network thread only.
class QtHttpClient::Exchanges {
 public:
  void open(QNetworkCookieJar& shared) {
    cookies = &shared;
    renew();
  }

  void begin(const HttpRequest& request, Seconds idle, Completion completion) {
    auto exchange = std::make_unique<HttpExchange>(idle);
    HttpExchange& begun = *exchange;
    running.emplace(&begun, std::move(exchange));
    begun.begin(
        *manager, request,
        [this, &begun, used = manager, completion = std::move(completion)](HttpResult result) {
          const auto ended = running.extract(&begun);
          if (result.error && used == manager) renew();
          completion(std::move(result));
        });
  }

  void cancelAll() {
    while (!running.empty()) running.begin()->second->fail("cancelled");
    manager.reset();
  }

 private:
  /// Over plain http a manager's own thread reads headers for as long as a server sends them,
  /// whatever became of the exchange, and does nothing else meanwhile: one that has failed must
  /// hold up no other.
  void renew() {
    manager.reset(new QNetworkAccessManager, std::mem_fn(&QObject::deleteLater));
    manager->setCookieJar(cookies);
    cookies->setParent(nullptr);  // shared: the manager must not delete it
  }

  QNetworkCookieJar* cookies = nullptr;
  std::shared_ptr<QNetworkAccessManager> manager;  ///< and of each exchange that it serves
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
