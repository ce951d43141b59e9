#include "qt/RawServer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace quorvex::test {

bool RawServer::Connection::fill() {
  char bytes[4096];
  const ssize_t got = recv(socket, bytes, sizeof bytes, 0);
  if (got > 0) unread.append(bytes, static_cast<std::size_t>(got));
  return got > 0;
}

std::string RawServer::Connection::request() {
  std::size_t end;
  while ((end = unread.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return {};
  }
  end += 4;
  const auto length = unread.find("Content-Length: ");
  if (length < end) end += std::strtoul(unread.c_str() + length + 16, nullptr, 10);
  while (unread.size() < end) {
    if (!fill()) return {};
  }
  std::string request = unread.substr(0, end);
  unread.erase(0, end);
  std::lock_guard lock(server.mutex);
  server.read.push_back(request);
  return request;
}

bool RawServer::Connection::write(const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const auto wrote = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (wrote <= 0) return false;
    sent += static_cast<std::size_t>(wrote);
  }
  return true;
}

void RawServer::Connection::waitForEnd() {
  char bytes[4096];
  while (recv(socket, bytes, sizeof bytes, 0) > 0) {
  }
}

void RawServer::Connection::reset() {
  sockaddr nowhere{};
  nowhere.sa_family = AF_UNSPEC;
  connect(socket, &nowhere, sizeof nowhere);
}

RawServer::RawServer(Serve toServe)
    : serve(std::move(toServe)), listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener, 64) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    std::abort();
  }
  port = ntohs(address.sin_port);
  acceptor = std::thread([this] { listen(); });
}

RawServer::~RawServer() {
  shutdown(listener, SHUT_RDWR);
  acceptor.join();
  for (const int socket : sockets) shutdown(socket, SHUT_RDWR);
  for (auto& servant : servants) servant.join();
  for (const int socket : sockets) close(socket);
  close(listener);
}

void RawServer::listen() {
  for (int socket; (socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    ++accepted;
    sockets.push_back(dup(socket));
    servants.emplace_back([this, socket] {
      Connection connection(*this, socket);
      serve(connection);
      // The copy in `sockets` must not keep the connection open.
      shutdown(socket, SHUT_RDWR);
      close(socket);
    });
  }
}

std::vector<std::string> RawServer::requests() const {
  std::lock_guard lock(mutex);
  return read;
}

std::string RawServer::url(const std::string& path, const std::string& scheme) const {
  return scheme + "://127.0.0.1:" + std::to_string(port) + path;
}

std::string httpReply(const std::string& status, const std::string& headers,
                      const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace quorvex::test
