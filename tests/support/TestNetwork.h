#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <list>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

/// Two network namespaces, the host's and the service's, with a cable between them that carries
/// whole IP packets; they go with what runs in them. What fails throws std::runtime_error.
class TestNetwork {
 public:
  enum class Place { host, service };

  struct Cable {
    bool plugged = true;  ///< both ends notice; what is on its way is lost
    int lossPercent = 0;  ///< each way, by chance
    std::chrono::milliseconds delay{};
    std::set<std::uint16_t> ports{};  ///< if any: carries only what is from or to one of them
  };

  /// A TURN server beside the service, as the service's option names it.
  static constexpr const char* kRelay = "turn:10.77.1.1:3478,quorvex,relay-secret";
  static constexpr std::uint16_t kRelayPort = 3478;

  /// Throws std::system_error where this machine allows none.
  TestNetwork();
  ~TestNetwork();

  /// The words that go before a program's own, to run it there.
  [[nodiscard]] std::vector<std::string> wrapper(Place place) const;
  /// Lets what connects to this port of 127.0.0.1 at the host's place reach the service's.
  void forward(std::uint16_t port);
  void runRelay();
  void become(const Cable& newCable);

 private:
  /// Runs a server at that place, and waits until it listens at the address, HOST:PORT.
  void serve(Place place, const std::string& command, const std::string& address);
  void carry(const std::stop_token& stop);

  const TemporaryFolder folder;
  std::array<ChildProcess, 2> places;
  std::array<int, 2> ends{-1, -1};  ///< of the cable, by place
  std::list<ChildProcess> servers;
  std::mutex mutex;
  Cable cable;  ///< by mutex
  std::jthread thread;
};

}  // namespace quorvex::test
