#include "linux/desktop/DesktopWorkspace.h"

#include <gio/gio.h>

namespace quorvex {

bool DesktopWorkspace::open(const std::string& url) {
  return g_app_info_launch_default_for_uri(url.c_str(), nullptr, nullptr) != FALSE;
}

}  // namespace quorvex
