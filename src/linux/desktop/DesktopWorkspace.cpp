#include "linux/desktop/DesktopWorkspace.h"

#include <gio/gio.h>

#include <utility>

namespace quorvex {

void DesktopWorkspace::open(const std::string& url, std::function<void(bool)> completion) {
  backgroundQueue.async([&queue = mainQueue, url, completion = std::move(completion)] {
    const bool opened = g_app_info_launch_default_for_uri(url.c_str(), nullptr, nullptr) != FALSE;
    if (completion) queue.async([completion, opened] { completion(opened); });
  });
}

}  // namespace quorvex
