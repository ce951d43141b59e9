#include "support/TestNetwork.h"

#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

// $H, $M and $S are the places, $0 and $1 the ends of the link between the first two. A cable that
// has just been plugged in is noticed within a second, and the service looks only once.
constexpr const char* kConnect = R"(
ip link set $0 netns $H name eth0
ip link set $1 netns $M name eth0
ip -n $M link add eth1 type veth peer name eth0 netns $S
ip -n $H address add 10.77.1.2/24 dev eth0
ip -n $M address add 10.77.1.1/24 dev eth0
ip -n $M address add 10.77.2.1/24 dev eth1
ip -n $S address add 10.77.2.2/24 dev eth0
for place in $H $M $S; do ip -n $place link set lo up; ip -n $place link set eth0 up; done
ip -n $M link set eth1 up
ip -n $H route add default via 10.77.1.1
ip -n $S route add default via 10.77.2.1
ip netns exec $M sysctl -qw net.ipv4.ip_forward=$FORWARDS
until ip -n $S link show eth0 | grep -q 'state UP'; do sleep 0.02; done)";

// With $0 the name of a namespace.
constexpr const char* kRemove = "ip netns pids $0 | xargs -r kill -9; ip netns delete $0";

// A run that was killed could not tidy up; its process is no more.
constexpr const char* kRemoveLeftovers = R"(
for name in $(ip netns list | grep -o '^quorvex-test-[0-9]*-[a-z]*'); do
  process=${name#quorvex-test-}
  kill -0 ${process%-*} || sh -c "$0" $name
done)";

/// What a script prints when it fails; none when all is well.
std::optional<std::string> failureOf(const std::string& script,
                                     const std::vector<std::string>& arguments = {},
                                     const std::vector<std::string>& environment = {}) {
  const TemporaryFolder folder;
  std::vector<std::string> words{"sh", "-ec", script};
  words.insert(words.end(), arguments.begin(), arguments.end());
  if (ChildProcess(words, "dash", folder / "output", environment).exitCode() == 0) return {};
  return script + "\n" + contentOf(folder / "output");
}

void check(const std::optional<std::string>& failure) {
  if (failure) throw std::runtime_error(*failure);
}

}  // namespace

TestNetwork::Namespace::Namespace(const std::string& place)
    : name("quorvex-test-" + std::to_string(::getpid()) + "-" + place) {
  check(failureOf("ip netns add $0", {name}));
}

TestNetwork::Namespace::~Namespace() {
  if (const auto failure = failureOf(kRemove, {name})) std::puts(failure->c_str());
}

std::optional<std::string> TestNetwork::whyNot() {
  try {
    check(failureOf(kRemoveLeftovers, {kRemove}));
    const Namespace probe("probe");
    const LossyLink cable;
    return std::nullopt;
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TestNetwork::TestNetwork(Middle kind) {
  const bool relays = kind == Middle::relays;
  check(failureOf(kConnect, {link.device(0), link.device(1)},
                  {"H=" + places[0].name, "M=" + places[1].name, "S=" + places[2].name,
                   relays ? "FORWARDS=0" : "FORWARDS=1"}));
  if (relays)
    serve(Place::middle,
          "turnserver -n --listening-ip=10.77.1.1 --relay-ip=10.77.2.1 --lt-cred-mech "
          "--user=quorvex:relay-secret --realm=quorvex --no-tls --no-dtls --no-cli --simple-log "
          "--log-file=stdout --userdb=" +
              (folder / "turndb") + " --pidfile=" + (folder / "pid"),
          "10.77.1.1:3478");
}

std::vector<std::string> TestNetwork::wrapper(Place place) const {
  return {"ip", "netns", "exec", places.at(static_cast<std::size_t>(place)).name};
}

void TestNetwork::serve(Place place, const std::string& command, const std::string& address) {
  auto words = wrapper(place);
  words.insert(words.end(), {"sh", "-c", "exec " + command});
  servers.emplace_back(words, "iproute2", folder / "output");
  if (!eventually([&] {
        return !failureOf("ip netns exec $0 socat -u /dev/null tcp:$1", {words[3], address});
      }))
    throw std::runtime_error("does not run (of the packages socat and coturn): " + command);
}

void TestNetwork::forward(std::uint16_t port) {
  const std::string at = ":" + std::to_string(port);
  const auto hop = [&](Place place, const std::string& from, const std::string& to) {
    serve(place, "socat tcp-listen" + at + ",fork,bind=" + from + " tcp:" + to + at, from + at);
  };
  hop(Place::service, "10.77.2.2", "127.0.0.1");
  hop(Place::middle, "10.77.1.1", "10.77.2.2");
  hop(Place::host, "127.0.0.1", "10.77.1.1");
}

void TestNetwork::impair(int lossPercent, int delayMilliseconds) {
  for (const Place place : {Place::host, Place::middle}) {
    const auto failure = failureOf(
        "tc -n $0 qdisc replace dev eth0 root netem limit 10000 loss $1% delay $2ms",
        {wrapper(place)[3], std::to_string(lossPercent), std::to_string(delayMilliseconds)});
    // Not every kernel has it.
    if (failure && failure->find("qdisc kind is unknown") != std::string::npos)
      return link.impair(lossPercent, std::chrono::milliseconds(delayMilliseconds));
    check(failure);
  }
}

}  // namespace quorvex::test
