#pragma once

#include "platform/DispatchQueue.h"
#include "platform/Workspace.h"

namespace quorvex {

/// Starts the desktop's default programs and this one, on a queue beside the main one. Both outlive
/// it.
class DesktopWorkspace : public Workspace {
 public:
  DesktopWorkspace(DispatchQueue& main, DispatchQueue& background)
      : mainQueue(main), backgroundQueue(background) {}

  void open(const std::string& url, std::function<void(bool opened)> completion) override;
  void openApplication(std::map<std::string, std::string> environment,
                       std::function<void(bool opened)> completion) override;

 private:
  void inBackground(std::function<bool()> work, std::function<void(bool)> completion);

  DispatchQueue& mainQueue;
  DispatchQueue& backgroundQueue;
};

}  // namespace quorvex
