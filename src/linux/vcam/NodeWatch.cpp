#include "linux/vcam/NodeWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>

namespace quorvex {

NodeWatch::NodeWatch(const std::string& folder, std::string namePrefix)
    : prefix(std::move(namePrefix)), inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  constexpr std::uint32_t kEvents = IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM | IN_ATTRIB;
  if (inotify && ::inotify_add_watch(inotify.get(), folder.c_str(), kEvents) < 0)
    inotify = UniqueFd();
}

NodeWatch::Changes NodeWatch::take() {
  Changes changes;
  alignas(inotify_event) std::array<char, 4096> bytes;
  for (;;) {
    const ssize_t count = inotify ? ::read(inotify.get(), bytes.data(), bytes.size()) : 0;
    if (count <= 0) return changes;
    for (const char* at = bytes.data(); at < bytes.data() + count;) {
      const auto* event = reinterpret_cast<const inotify_event*>(at);
      at += sizeof(inotify_event) + event->len;
      const bool lost = (event->mask & IN_Q_OVERFLOW) != 0;
      if (!lost && !std::string_view(event->len ? event->name : "").starts_with(prefix)) continue;
      changes.any = true;
      changes.created = changes.created || lost || (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    }
  }
}

}  // namespace quorvex
