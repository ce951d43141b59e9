#pragma once

#include <memory>

#include "platform/HttpClient.h"

namespace quorvex {

class NetworkThread;

/// HttpClient on QNetworkAccessManager. Completions come on the network thread. Thread-safe.
///
/// - The idle time restarts whenever data of a body moves either way and when the reply's headers
///   are complete; a server that dribbles headers does not restart it.
/// - At most 10 redirects are followed: to the same origin, and when the request has neither a body
///   nor credentials to another one, but never from https to http. A refused one is an error.
/// - A status of 400 or more is a reply like any other. A reply whose body is longer than 8 MiB or
///   shorter than its Content-Length, or that is no HTTP, is an error. A chunked reply that is cut
///   short may pass for a whole one: Qt does not always tell. An empty body counts as none.
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
