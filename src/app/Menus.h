#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "auth/AuthManager.h"
#include "faces/FaceStore.h"
#include "model/AppModel.h"
#include "platform/Defaults.h"
#include "platform/Windows.h"

namespace quorvex {

/// The application's two menus, and with the status menu the one status line that its first item
/// and the window show. Main thread only.
class Menus : public MenuTarget, public std::enable_shared_from_this<Menus> {
 public:
  struct Dependencies {
    Windows* windows;  ///< none where nothing is shown: the status line lives in the model alone
    AppModel& model;
    const Defaults& defaults;
    std::shared_ptr<FaceStore> faces;
    std::shared_ptr<AuthManager> auth;
  };
  /// What each of the application's actions does.
  using Actions = std::map<MenuAction, std::function<void()>>;

  Menus(Dependencies dependencies, Actions actions);

  void buildMainMenu();
  /// Shows a new status line, and the account, the face and the enhancement as they are now.
  void buildStatusMenu(const std::string& text);
  /// Shows a new status line and nothing else that may have changed.
  void setStatusLine(const std::string& text);

  [[nodiscard]] bool validateMenuItem(MenuItem& item) const override;
  void perform(MenuAction action) override;

 private:
  [[nodiscard]] Menu statusMenu(const std::string& text, bool signedIn, bool signingIn);

  const Dependencies needs;
  const Actions actions;
  bool hasStatusMenu = false;
};

}  // namespace quorvex
