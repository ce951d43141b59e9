#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/LossyLink.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {

/// Two network namespaces, the host's and the service's, with a cable between them; they go with
/// what runs in them. What fails throws std::runtime_error, with what the command has printed.
class TestNetwork {
 public:
  enum class Place { host, service };

  /// A TURN server beside the service, as the service's option names it.
  static constexpr const char* kRelay = "turn:10.77.1.1:3478,quorvex,relay-secret";
  static constexpr std::uint16_t kRelayPort = 3478;

  /// Why this machine cannot have one; none when it can.
  static std::optional<std::string> whyNot();

  TestNetwork();

  /// The words that go before a program's own, to run it there.
  [[nodiscard]] std::vector<std::string> wrapper(Place place) const;
  /// Lets what connects to this port of 127.0.0.1 at the host's place reach the service's.
  void forward(std::uint16_t port);
  void runRelay();

  LossyLink link;

 private:
  /// Runs a server at that place, and waits until it listens at the address, HOST:PORT.
  void serve(Place place, const std::string& command, const std::string& address);

  const TemporaryFolder folder;
  std::array<ChildProcess, 2> places;
  std::list<ChildProcess> servers;
};

}  // namespace quorvex::test
