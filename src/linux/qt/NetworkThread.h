#pragma once

#include <thread>

#include "platform/Task.h"

class QEventLoop;
class QNetworkCookieJar;

namespace quorvex {

class QtMainQueue;

/// The thread that all network traffic and all its callbacks run on, with the cookies that HTTP and
/// WebSocket requests share. Needs a QCoreApplication that outlives it.
///
/// Destroying it runs what was handed over before and ends the thread; on the thread itself the
/// destructor does not wait.
class NetworkThread {
 public:
  NetworkThread();
  ~NetworkThread();

  /// Runs `task` on the thread, in order. Thread-safe.
  void async(Task task);

  /// To be used on the thread only.
  [[nodiscard]] QNetworkCookieJar& cookies() const { return *running.cookies; }

 private:
  /// What lives on the thread's stack.
  struct Running {
    QEventLoop* loop = nullptr;
    QtMainQueue* queue = nullptr;
    QNetworkCookieJar* cookies = nullptr;
  };

  Running running;
  std::thread thread;
};

}  // namespace quorvex
