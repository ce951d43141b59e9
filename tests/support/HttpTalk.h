#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>  // missing from Boost 1.74's own headers

#include "support/LoopbackSocket.h"

namespace quorvex::test {

// HTTP over real sockets on the loopback interface, one call after the other. Nothing waits longer
// than half a minute.

/// Sends these very bytes, then perhaps their end, and returns all that comes back until the end.
inline std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd = false) {
  boost::asio::io_context io;
  auto socket = connectedTo(io, port);
  boost::system::error_code refusedEarly, end;  // a reply may come before all bytes have been sent
  boost::asio::write(socket, boost::asio::buffer(bytes), refusedEarly);
  if (thenEnd) socket.shutdown(socket.shutdown_send);
  std::string received;
  boost::asio::read(socket, boost::asio::dynamic_buffer(received), end);
  return received;
}

using Headers = std::map<std::string, std::string>;

struct Reply {
  [[nodiscard]] std::string refusal() const {
    return std::to_string(status) + " " + body.value("error", "");
  }

  int status = 0;
  nlohmann::json body = nlohmann::json::object();
};

inline Reply request(std::uint16_t port, const std::string& method, const std::string& path,
                     const Headers& headers = {}, const std::string& body = "") {
  namespace http = boost::beast::http;
  http::request<http::string_body> asked(http::string_to_verb(method), path, 11, body);
  asked.set("Host", "127.0.0.1");
  asked.set("Connection", "close");
  asked.content_length(body.size());
  for (const auto& [name, value] : headers) asked.set(name, value);
  boost::asio::io_context io;
  auto socket = connectedTo(io, port);
  boost::system::error_code refusedEarly;
  http::write(socket, asked, refusedEarly);
  // To the end of the reply: that of the connection may be a long time coming.
  boost::beast::flat_buffer buffer;
  http::response<http::string_body> received;
  http::read(socket, buffer, received);
  Reply reply{.status = static_cast<int>(received.result_int())};
  if (!received.body().empty()) reply.body = nlohmann::json::parse(received.body());
  return reply;
}

}  // namespace quorvex::test
