#pragma once

#include <memory>

#include "platform/HttpClient.h"

namespace quorvex {

class NetworkThread;

/// HttpClient on QNetworkAccessManager. Completions come on the network thread. Thread-safe.
///
/// - The idle time restarts whenever data of the body moves either way and when the reply's headers
///   are complete; a server that dribbles headers does not restart it.
/// - Redirects (at most 10) are followed to the same origin; a request with neither body nor
///   credentials is followed to other origins too, but never from https to http. A redirect that is
///   refused is an error.
/// - A reply's body holds at most 8 MiB; a reply with an empty body has none. Each of these is an
///   error: a longer one, one cut short, one that is no HTTP. A status of 400 or more is a reply
///   like any other.
/// - A header name or value that HTTP does not allow is an error, and nothing is sent.
/// - Requests do not ask for compressed replies, and use HTTP/1.1.
///
/// Destroying the client ends each outstanding exchange with the error "cancelled", on the network
/// thread and possibly after the destructor has returned.
class QtHttpClient : public HttpClient {
 public:
  explicit QtHttpClient(std::shared_ptr<NetworkThread> network, Seconds idleTimeout = Seconds{30});
  ~QtHttpClient() override;

  void send(HttpRequest request, Completion completion) override;

 private:
  class Exchanges;

  const std::shared_ptr<NetworkThread> network;
  const Seconds idleTimeout;
  std::shared_ptr<Exchanges> exchanges;
};

}  // namespace quorvex
