#include "service/ProcessWatch.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <utility>  // missing from Boost 1.74's own headers

namespace quorvex::service {

namespace asio = boost::asio;
using boost::system::error_code;

struct ProcessWatch::Watches : std::enable_shared_from_this<Watches> {
  Watches(asio::io_context& io, std::function<void()> whenOver)
      : end(std::move(whenOver)), signals(io, SIGTERM, SIGINT), input(io) {}

  void watchSignals() {
    signals.async_wait([weak = weak_from_this()](error_code error, int) {
      if (const auto self = weak.lock(); self && !error) self->end();
    });
  }

  /// What comes on standard input has no meaning; only its end has.
  void watchInput() {
    input.async_read_some(asio::buffer(read), [weak = weak_from_this()](error_code error, auto) {
      const auto self = weak.lock();
      if (!self) return;
      if (error)
        self->end();
      else
        self->watchInput();
    });
  }

  std::function<void()> end;
  asio::signal_set signals;
  asio::posix::stream_descriptor input;
  std::array<char, 256> read{};
};

ProcessWatch::ProcessWatch(ServiceLoop& loop, bool withParent, std::function<void()> end)
    : watches(std::make_shared<Watches>(loop.context(), std::move(end))) {
  watches->watchSignals();
  if (!withParent) return;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  error_code error;
  watches->input.assign(dup(STDIN_FILENO), error);
  if (error)
    loop.async([kept = watches] { kept->end(); });  // there is no standard input to end
  else
    watches->watchInput();
}

ProcessWatch::~ProcessWatch() = default;

}  // namespace quorvex::service
