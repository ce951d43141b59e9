#include "program/TerminationSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <csignal>

namespace quorvex {
namespace {

sigset_t terminationSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

void TerminationSignals::block() {
  const sigset_t signals = terminationSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

TerminationSignals::TerminationSignals(std::function<void()> asked) {
  const sigset_t signals = terminationSignals();
  std::signal(SIGPIPE, SIG_IGN);
  file = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  notifier = std::make_unique<QSocketNotifier>(file, QSocketNotifier::Read);
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                   [this, asked = std::move(asked)] {
                     signalfd_siginfo info{};
                     while (::read(file, &info, sizeof info) > 0) {
                     }
                     const sigset_t blocked = terminationSignals();
                     ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
                     asked();
                   });
}

TerminationSignals::~TerminationSignals() {
  notifier.reset();
  if (file >= 0) ::close(file);
}

}  // namespace quorvex
