#include "support/HttpTalk.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <utility>  // missing from Boost 1.74's own headers

#include "support/LoopbackSocket.h"

namespace quorvex::test {
namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

std::string sendRaw(std::uint16_t port, const std::string& bytes, bool thenEnd) {
  asio::io_context io;
  tcp::socket socket = connectedTo(io, port);
  error_code refusedEarly;  // a reply may come before the bytes have all been sent
  asio::write(socket, asio::buffer(bytes), refusedEarly);
  if (thenEnd) socket.shutdown(tcp::socket::shutdown_send);
  std::string received;
  error_code end;
  asio::read(socket, asio::dynamic_buffer(received), end);
  return received;
}

Reply request(std::uint16_t port, const std::string& method, const std::string& path,
              const Headers& headers, const std::string& body) {
  http::request<http::string_body> asked(http::string_to_verb(method), path, 11, body);
  asked.set("Host", "127.0.0.1");
  asked.set("Connection", "close");
  asked.content_length(body.size());
  for (const auto& [name, value] : headers) asked.set(name, value);
  asio::io_context io;
  tcp::socket socket = connectedTo(io, port);
  error_code refusedEarly;
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
