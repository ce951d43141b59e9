#include "support/TestNetwork.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <deque>
#include <optional>
#include <random>
#include <system_error>

#include "support/Eventually.h"

namespace quorvex::test {
namespace {

using Clock = std::chrono::steady_clock;

// $0 is the end of the cable, $1 the process that holds the place, $2 the address there.
constexpr const char* kConnect = R"sh(
until [ "$(readlink /proc/$1/ns/net)" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.01; done
ip link set $0 netns $1 name eth0
exec nsenter --net=/proc/$1/ns/net sh -ec "
  ip link set lo up
  ip address add $2/24 dev eth0
  ip link set eth0 up
  ip route add default dev eth0")sh";

struct Packet {
  Clock::time_point due;
  int to;  ///< a descriptor
  std::vector<char> bytes;
};

/// The port in what an IPv4 packet carries: where it comes from at 0, where it goes at 2.
std::uint16_t port(const Packet& packet, std::size_t offset) {
  const auto byte = [&](std::size_t at) {
    return at < packet.bytes.size() ? static_cast<unsigned char>(packet.bytes[at]) : 0U;
  };
  const std::size_t at = (byte(0) & 15) * 4 + offset;
  return static_cast<std::uint16_t>(byte(at) << 8 | byte(at + 1));
}

int allowed(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

/// What a script prints when it fails; none when all is well.
std::optional<std::string> failureOf(const std::string& script,
                                     const std::vector<std::string>& arguments) {
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

TestNetwork::TestNetwork() : places{makePlace(), makePlace()} {
  if (failureOf("unshare --net true", {}))
    throw std::system_error(EPERM, std::generic_category(), "make a network namespace");
  for (const std::size_t end : {0, 1}) {
    ends[end] = allowed(::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK), "/dev/net/tun");
    ifreq device{.ifr_ifrn = {"quorvex%d"}, .ifr_ifru = {}};  // the kernel puts a free number there
    device.ifr_flags = IFF_TUN | IFF_NO_PI;
    allowed(::ioctl(ends[end], TUNSETIFF, &device), "make a TUN device");
    if (const auto failure = failureOf(kConnect, {device.ifr_name, std::to_string(places[end].id()),
                                                  end == 0 ? "10.77.1.2" : "10.77.1.1"}))
      throw std::runtime_error(*failure);
  }
  thread = std::jthread([this](const std::stop_token& stop) { carry(stop); });
}

TestNetwork::~TestNetwork() {
  thread = {};
  for (const int end : ends) ::close(end);
}

std::vector<std::string> TestNetwork::wrapper(Place place) const {
  const int holder = places.at(static_cast<std::size_t>(place)).id();
  return {"nsenter", "--net=/proc/" + std::to_string(holder) + "/ns/net"};
}

void TestNetwork::serve(Place place, const std::string& command, const std::string& address) {
  auto words = wrapper(place);
  const std::vector<std::string> there{words[0], words[1], address};
  words.insert(words.end(), {"sh", "-c", "exec " + command});
  servers.emplace_back(words, "util-linux", folder / "output");
  if (!eventually([&] { return !failureOf("$0 $1 socat -u /dev/null tcp:$2", there); }))
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

void TestNetwork::become(const Cable& newCable) {
  const int carrier = newCable.plugged;
  for (const int end : ends)
    allowed(::ioctl(end, TUNSETCARRIER, &carrier), "set a TUN device's carrier");
  std::lock_guard hold(mutex);
  cable = newCable;
}

void TestNetwork::carry(const std::stop_token& stop) {
  std::deque<Packet> underWay;
  std::minstd_rand random(1);  // no run is luckier than another
  std::uniform_int_distribution percent(0, 99);
  std::vector<char> buffer(1 << 16);
  std::array<pollfd, 2> ready{{{ends[0], POLLIN, 0}, {ends[1], POLLIN, 0}}};
  while (!stop.stop_requested()) {
    ::poll(ready.data(), ready.size(), underWay.empty() ? 50 : 1);
    std::lock_guard hold(mutex);
    const auto passes = [&](const Packet& packet) {
      return cable.plugged && percent(random) >= cable.lossPercent &&
             (cable.ports.empty() || cable.ports.contains(port(packet, 0)) ||
              cable.ports.contains(port(packet, 2)));
    };
    for (const std::size_t from : {0, 1})
      for (ssize_t size; (size = ::read(ends[from], buffer.data(), buffer.size())) > 0;) {
        Packet packet{Clock::now() + cable.delay, ends[1 - from], {&buffer[0], &buffer[size]}};
        if (passes(packet)) underWay.push_back(std::move(packet));
      }
    if (!cable.plugged) underWay.clear();
    for (; !underWay.empty() && underWay[0].due <= Clock::now(); underWay.pop_front()) {
      const auto& bytes = underWay[0].bytes;
      // A device that is down or full takes none, and a cable does not try again.
      [[maybe_unused]] const auto taken = ::write(underWay[0].to, bytes.data(), bytes.size());
    }
  }
}

}  // namespace quorvex::test
