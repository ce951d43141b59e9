#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <memory>

#include "platform/Menu.h"

namespace quorvex {

/// The application's item in the desktop's tray. Where there is no tray it waits for one to come.
/// Main thread only.
class StatusItem {
 public:
  StatusItem();

  void setMenu(const Menu& description, const std::weak_ptr<MenuTarget>& target);
  void setTitle(const std::string& title);
  [[nodiscard]] const QMenu* menu() const { return contextMenu.get(); }
  /// Whether the desktop has a place for it.
  [[nodiscard]] static bool isAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }

 private:
  QSystemTrayIcon icon;
  std::unique_ptr<QMenu> contextMenu;
  std::weak_ptr<MenuTarget> target;
};

}  // namespace quorvex
