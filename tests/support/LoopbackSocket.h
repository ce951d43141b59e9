#pragma once

#include <sys/socket.h>
#include <sys/time.h>

#include <boost/asio/ip/tcp.hpp>
#include <cstdint>

namespace quorvex::test {

/// A connection to this machine on which nothing waits longer than half a minute.
inline boost::asio::ip::tcp::socket connectedTo(boost::asio::io_context& io, std::uint16_t port) {
  boost::asio::ip::tcp::socket socket(io);
  socket.connect({boost::asio::ip::address_v4::loopback(), port});
  const timeval patience{30, 0};
  ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  return socket;
}

}  // namespace quorvex::test
