#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quorvex::test {

/// A TCP server on loopback that says exactly what a test tells it to. Each connection is served on
/// a thread of its own and closed when `serve` returns.
class RawServer {
 public:
  class Connection {
   public:
    Connection(RawServer& owner, int descriptor) : server(owner), socket(descriptor) {}

    /// One request, its body too when it has a Content-Length; empty when there is no more.
    std::string request();
    /// False once the other side is gone.
    bool write(const std::string& bytes);
    /// Returns when the other side has gone.
    void waitForEnd();
    /// Ends the connection at once, as a crash of the machine would.
    void reset();

   private:
    bool fill();

    RawServer& server;
    int socket;
    std::string unread;
  };
  using Serve = std::function<void(Connection&)>;

  explicit RawServer(Serve serve);
  ~RawServer();

  [[nodiscard]] std::string url(const std::string& path, const std::string& scheme = "http") const;
  [[nodiscard]] int connections() const { return accepted; }
  /// What the connections have read so far.
  [[nodiscard]] std::vector<std::string> requests() const;

 private:
  void listen();

  const Serve serve;
  int listener;
  int port = 0;
  std::atomic<int> accepted = 0;
  mutable std::mutex mutex;
  std::vector<std::string> read;      // protected by the mutex
  std::vector<int> sockets;           // used by the accepting thread, then by the destructor
  std::vector<std::thread> servants;  // likewise
  std::thread acceptor;
};

/// A reply with a Content-Length.
std::string httpReply(const std::string& status, const std::string& headers,
                      const std::string& body);

}  // namespace quorvex::test
