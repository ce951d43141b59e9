#include "support/HttpTalk.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <stdexcept>
#include <utility>  // missing from Boost 1.74's own headers

#include "support/LoopbackSocket.h"

namespace quorvex::test {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

}  // namespace

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
  std::string bytes = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
  for (const auto& [name, value] : headers) bytes.append(name).append(": ").append(value + "\r\n");
  bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  const std::string received = sendRaw(port, bytes);
  const std::size_t headEnd = received.find("\r\n\r\n");
  if (headEnd == std::string::npos) throw std::runtime_error("no reply: " + received);
  Reply reply{.status = std::stoi(received.substr(9, 3)), .head = received.substr(0, headEnd)};
  if (received.size() > headEnd + 4)
    reply.body = nlohmann::json::parse(received.substr(headEnd + 4));
  return reply;
}

}  // namespace quorvex::test
