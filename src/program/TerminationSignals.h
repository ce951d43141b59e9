#pragma once

#include <functional>
#include <memory>

class QSocketNotifier;

namespace quorvex {

/// Turns Ctrl-C, SIGTERM and SIGHUP into a call on the event loop. A second one ends the process at
/// once, for a user who will not wait. One object a process.
class TerminationSignals {
 public:
  /// To be called before any thread is made, and a QApplication makes some: a thread that does not
  /// block a signal would end the process by it.
  static void block();

  explicit TerminationSignals(std::function<void()> asked);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  int file;
  std::unique_ptr<QSocketNotifier> notifier;
};

}  // namespace quorvex
