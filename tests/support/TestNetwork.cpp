#include "support/TestNetwork.h"

#include <stdexcept>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

// $0 is the end of the cable, $1 the process that holds the place, $2 the address there.
constexpr const char* kConnect = R"sh(
until [ "$(readlink /proc/$1/ns/net)" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.01; done
ip link set $0 netns $1 name eth0
exec nsenter --net=/proc/$1/ns/net sh -ec "
  ip link set lo up
  ip address add $2/24 dev eth0
  ip link set eth0 up
  ip route add default dev eth0")sh";

/// What a script prints when it fails; none when all is well.
std::optional<std::string> failureOf(const std::string& script,
                                     const std::vector<std::string>& arguments = {}) {
  const TemporaryFolder folder;
  std::vector<std::string> words{"sh", "-ec", script};
  words.insert(words.end(), arguments.begin(), arguments.end());
  if (ChildProcess(words, "dash", folder / "output").exitCode() == 0) return {};
  return script + "\n" + contentOf(folder / "output");
}

ChildProcess makePlace() {
  return ChildProcess({"unshare", "--net", "sleep", "infinity"}, "util-linux", "/dev/null");
}

}  // namespace

std::optional<std::string> TestNetwork::whyNot() {
  try {
    const LossyLink cable;
    return failureOf("unshare --net true");
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TestNetwork::TestNetwork() : places{makePlace(), makePlace()} {
  for (const std::size_t end : {0, 1})
    if (const auto failure =
            failureOf(kConnect, {link.device(end), std::to_string(places.at(end).id()),
                                 end == 0 ? "10.77.1.2" : "10.77.1.1"}))
      throw std::runtime_error(*failure);
}

std::vector<std::string> TestNetwork::wrapper(Place place) const {
  const int holder = places.at(static_cast<std::size_t>(place)).id();
  return {"nsenter", "--net=/proc/" + std::to_string(holder) + "/ns/net"};
}

void TestNetwork::serve(Place place, const std::string& command, const std::string& address) {
  auto words = wrapper(place);
  words.insert(words.end(), {"sh", "-c", "exec " + command});
  servers.emplace_back(words, "util-linux", folder / "output");
  if (!eventually([&] {
        return !failureOf("$0 $1 socat -u /dev/null tcp:$2", {words[0], words[1], address});
      }))
    throw std::runtime_error("does not run (of the packages socat and coturn): " + command);
}

void TestNetwork::forward(std::uint16_t port) {
  const std::string at = ":" + std::to_string(port);
  const auto hop = [&](Place place, const std::string& from, const std::string& to) {
    serve(place, "socat tcp-listen" + at + ",fork,bind=" + from + " tcp:" + to + at, from + at);
  };
  hop(Place::service, "10.77.1.1", "127.0.0.1");
  hop(Place::host, "127.0.0.1", "10.77.1.1");
}

void TestNetwork::runRelay() {
  serve(Place::service,
        "turnserver -n --listening-ip=10.77.1.1 --relay-ip=10.77.1.1 --lt-cred-mech "
        "--user=quorvex:relay-secret --realm=quorvex --no-tls --no-dtls --no-cli --simple-log "
        "--log-file=stdout --userdb=" +
            (folder / "turndb") + " --pidfile=" + (folder / "pid"),
        "10.77.1.1:3478");
}

}  // namespace quorvex::test
