#pragma once

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include "e2e/ServiceRun.h"

namespace quorvex::test {

/// What a host needs to use `service` and to take commands for its virtual camera, see `tell`.
inline std::vector<std::string> withFaultSocket(const ServiceRun& service) {
  auto words = service.hostOptions();
  words.insert(words.end(), {"--fault-socket", service.folder / "faults"});
  return words;
}

/// Makes the virtual camera of a host that was started so misbehave: "refuse", "stall", "vanish",
/// or behave: "none".
inline void tell(const ServiceRun& service, const std::string& command) {
  boost::asio::io_context io;
  boost::asio::local::stream_protocol::socket socket(io);
  socket.connect(boost::asio::local::stream_protocol::endpoint(service.folder / "faults"));
  boost::asio::write(socket, boost::asio::buffer(command + "\n"));
  std::string answer;
  boost::asio::read_until(socket, boost::asio::dynamic_buffer(answer), '\n');
  EXPECT_EQ(answer, "ok\n");
}

}  // namespace quorvex::test
