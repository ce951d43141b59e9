#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <boost/asio/ip/tcp.hpp>
#include <cstdint>

namespace quorvex::test {

/// A connection to this machine on which nothing waits longer than half a minute.
inline boost::asio::ip::tcp::socket connectedTo(boost::asio::io_context& io, std::uint16_t port) {
  boost::asio::ip::tcp::socket socket(io);
  socket.connect({boost::asio::ip::address_v4::loopback(), port});
  const int descriptor = socket.native_handle();
  const timeval patience{30, 0};
  ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  // The kernel waits that long; only of a socket that is not to block does asio take its no for an
  // answer instead of waiting on.
  socket.non_blocking(true);
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  return socket;
}

}  // namespace quorvex::test
