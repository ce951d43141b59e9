#pragma once

#include "platform/Workspace.h"

namespace quorvex {

/// Opens URLs with the desktop's default programs.
class DesktopWorkspace : public Workspace {
 public:
  [[nodiscard]] bool open(const std::string& url) override;
};

}  // namespace quorvex
