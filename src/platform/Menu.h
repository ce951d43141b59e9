#pragma once

#include <string>
#include <vector>

namespace quorvex {

/// What a line of a menu does when it is chosen.
enum class MenuAction {
  none,
  // The desktop's own.
  orderFrontStandardAboutPanel,
  hide,
  hideOtherApplications,
  unhideAllApplications,
  terminate,
  undo,
  redo,
  cut,
  copy,
  paste,
  selectAll,
  performMiniaturize,
  performZoom,
  performClose,
  arrangeInFront,
  // The application's: a menu's target performs them.
  openWindow,
  menuPause,
  menuFlip,
  menuToggleSelfView,
  reconnectTapped,
  menuHelp,
  reportBug,
  signInTapped,
  signOutTapped,
  chooseFace,
  clearFace,
  toggleEnhance,
  reinstall,
  quit,
};

[[nodiscard]] constexpr bool isStandard(MenuAction action) {
  return action > MenuAction::none && action < MenuAction::openWindow;
}

struct MenuItem {
  std::string title{};  ///< empty for a separator
  MenuAction action = MenuAction::none;
  std::string key{};  ///< one character, with Control and what follows; empty for no shortcut
  bool option = false;
  bool shift = false;
  bool enabled = true;
  bool checked = false;
};

struct Menu {
  std::string title;
  std::vector<MenuItem> items;
};

/// Who stands behind a menu's items. Main thread only.
class MenuTarget {
 public:
  virtual ~MenuTarget() = default;

  /// Asked before an item is shown or its shortcut taken: whether it is enabled. May change its
  /// title and its check mark.
  [[nodiscard]] virtual bool validateMenuItem(MenuItem& item) const = 0;
  virtual void perform(MenuAction action) = 0;
};

}  // namespace quorvex
