#include "linux/qt/NetworkThread.h"

#include <pthread.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkCookieJar>
#include <future>
#include <utility>

#include "linux/qt/QtMainQueue.h"

namespace quorvex {

NetworkThread::NetworkThread() {
  std::promise<Running> started;
  auto whenStarted = started.get_future();
  thread = std::thread([started = std::move(started)]() mutable {
    pthread_setname_np(pthread_self(), "quorvex-network");
    QEventLoop loop;
    QNetworkCookieJar cookies;
    QtMainQueue queue;
    started.set_value({&loop, &queue, &cookies});
    loop.exec();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  });
  running = whenStarted.get();
}

NetworkThread::~NetworkThread() {
  async([loop = running.loop] { loop->quit(); });
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

void NetworkThread::async(Task task) {
  running.queue->async(std::move(task));
}

}  // namespace quorvex
