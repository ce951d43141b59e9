#include "support/LossyLink.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>
#include <deque>
#include <random>
#include <system_error>
#include <vector>

namespace quorvex::test {
namespace {

using Clock = std::chrono::steady_clock;

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

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

}  // namespace

LossyLink::End::End() : descriptor(::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK)) {
  checked(descriptor, "open /dev/net/tun");
  ifreq device{};
  device.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strcpy(device.ifr_name, "quorvex%d");  // the kernel puts a free number there
  const int made = ::ioctl(descriptor, TUNSETIFF, &device);
  if (made < 0) ::close(descriptor);
  checked(made, "make a TUN device");
  name = device.ifr_name;
}

LossyLink::End::~End() {
  ::close(descriptor);
}

LossyLink::LossyLink() : thread([this](const std::stop_token& stop) { carry(stop); }) {}

void LossyLink::become(const Quality& newQuality) {
  const int carrier = newQuality.plugged;
  for (const End& end : ends)
    checked(::ioctl(end.descriptor, TUNSETCARRIER, &carrier), "set a TUN device's carrier");
  std::lock_guard hold(mutex);
  quality = newQuality;
}

void LossyLink::carry(const std::stop_token& stop) {
  std::deque<Packet> underWay;
  std::minstd_rand random(1);  // no run is luckier than another
  std::uniform_int_distribution percent(0, 99);
  std::vector<char> buffer(1 << 16);
  std::array<pollfd, 2> ready{{{ends[0].descriptor, POLLIN, 0}, {ends[1].descriptor, POLLIN, 0}}};
  while (!stop.stop_requested()) {
    ::poll(ready.data(), ready.size(), underWay.empty() ? 50 : 1);
    std::lock_guard hold(mutex);
    for (const std::size_t from : {0, 1})
      for (ssize_t size; (size = ::read(ready[from].fd, buffer.data(), buffer.size())) > 0;) {
        Packet packet{
            Clock::now() + quality.delay, ready[1 - from].fd, {&buffer[0], &buffer[size]}};
        const bool passes = quality.ports.empty() || quality.ports.contains(port(packet, 0)) ||
                            quality.ports.contains(port(packet, 2));
        if (passes && percent(random) >= quality.lossPercent) underWay.push_back(std::move(packet));
      }
    if (!quality.plugged) underWay.clear();
    for (; !underWay.empty() && underWay[0].due <= Clock::now(); underWay.pop_front()) {
      const auto& bytes = underWay[0].bytes;
      // A device that is down or full takes none, and a cable does not try again.
      [[maybe_unused]] const auto taken = ::write(underWay[0].to, bytes.data(), bytes.size());
    }
  }
}

}  // namespace quorvex::test
