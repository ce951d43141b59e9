#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Menu.h"

namespace quorvex {

/// A question that the user has to answer before anything else.
struct Alert {
  std::string messageText;
  std::string informativeText;
  std::vector<std::string> buttons;  ///< the first one is the default
};

/// The main window. Main thread only.
class Window {
 public:
  virtual ~Window() = default;
  [[nodiscard]] virtual bool isVisible() const = 0;
  /// Shows it in front of all others, with the keyboard.
  virtual void makeKeyAndOrderFront() = 0;
  virtual void close() = 0;
};

/// The application's face on the desktop: menus, the status item, alerts. Main thread only.
class Windows {
 public:
  virtual ~Windows() = default;

  /// The menus of the main window, for good. Their target is held weakly.
  virtual void setMainMenu(std::vector<Menu> menus, std::weak_ptr<MenuTarget> target) = 0;

  /// Makes the status item when there is none yet, and gives it this menu. Items stay as they are
  /// given; they are not validated.
  virtual void setStatusMenu(Menu menu, std::weak_ptr<MenuTarget> target) = 0;
  /// Gives the status menu's first item another title.
  virtual void setStatusTitle(const std::string& title) = 0;

  /// Waits for the user, while the event loop runs on. The index of the button, or the last one's
  /// when the alert is closed without a choice.
  [[nodiscard]] virtual std::size_t runModal(const Alert& alert) = 0;
};

}  // namespace quorvex
