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

/// Three network namespaces in a row, host, middle and service, that go at the end with all that
/// runs in them. The faults are those of the link between host and middle. What fails throws
/// std::runtime_error, with what the command has printed.
class TestNetwork {
 public:
  enum class Place { host, middle, service };
  /// A middle that relays runs a TURN server, and forwards no packet.
  enum class Middle { forwards, relays };

  /// The relay, as the service's option names it.
  static constexpr const char* kRelay = "turn:10.77.1.1:3478,quorvex,relay-secret";

  /// Why this machine cannot have one; none when it can.
  static std::optional<std::string> whyNot();

  explicit TestNetwork(Middle kind);

  /// The words that go before a program's own, to run it there.
  [[nodiscard]] std::vector<std::string> wrapper(Place place) const;

  /// Lets what connects to this port of 127.0.0.1 at the host's place reach the service's.
  void forward(std::uint16_t port);
  void linkDown() { link.plug(false); }
  void linkUp() { link.plug(true); }
  /// Loses so many packets, by chance, and delays the others so much; each way.
  void impair(int lossPercent, int delayMilliseconds);

 private:
  struct Namespace {
    explicit Namespace(const std::string& place);
    ~Namespace();
    Namespace(const Namespace&) = delete;

    const std::string name;
  };

  /// Runs a server at that place, and waits until it listens at the address, HOST:PORT.
  void serve(Place place, const std::string& command, const std::string& address);

  const TemporaryFolder folder;
  const std::array<Namespace, 3> places{Namespace("host"), Namespace("middle"),
                                        Namespace("service")};
  LossyLink link;
  std::list<ChildProcess> servers;
};

}  // namespace quorvex::test
