#pragma once

#include "platform/DispatchQueue.h"
#include "platform/Workspace.h"

namespace quorvex {

/// Opens URLs with the desktop's default programs, on a queue beside the main one. Both outlive it.
class DesktopWorkspace : public Workspace {
 public:
  DesktopWorkspace(DispatchQueue& main, DispatchQueue& background)
      : mainQueue(main), backgroundQueue(background) {}

  void open(const std::string& url, std::function<void(bool opened)> completion) override;

 private:
  DispatchQueue& mainQueue;
  DispatchQueue& backgroundQueue;
};

}  // namespace quorvex
