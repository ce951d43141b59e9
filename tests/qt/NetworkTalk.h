#pragma once

#include <QCoreApplication>
#include <functional>
#include <future>
#include <stdexcept>

#include "linux/qt/QtHttpClient.h"
#include "platform/WebSocket.h"
#include "support/Eventually.h"

namespace quorvex::test {

/// Hands `start` a completion, whose result comes out here. A second call of it would throw.
template <class Result, class Start>
std::future<Result> begin(const Start& start) {
  const auto ended = std::make_shared<std::promise<Result>>();
  start([ended](Result result) { ended->set_value(std::move(result)); });
  return ended->get_future();
}

template <class Result>
Result await(std::future<Result> future) {
  const auto state = future.wait_for(std::chrono::seconds(60));
  return state == std::future_status::ready ? future.get()
                                            : throw std::runtime_error("nothing came");
}

/// Runs this thread's events until `condition` holds; false when it does not in time.
inline bool comes(const std::function<bool()>& condition) {
  return eventually([&] {
    QCoreApplication::processEvents();
    return condition();
  });
}

inline std::future<HttpResult> send(HttpClient& client, const HttpRequest& request) {
  return begin<HttpResult>([&](auto done) { client.send(request, done); });
}
inline std::future<WebSocketTask::Received> receive(WebSocketTask& task) {
  return begin<WebSocketTask::Received>([&](auto done) { task.receive(done); });
}

}  // namespace quorvex::test
