#pragma once

#include <QObject>
#include <QQuickWindow>
#include <QVariant>
#include <QtQmlIntegration>
#include <functional>
#include <memory>
#include <vector>

#include "platform/Menu.h"

namespace quorvex {

/// The main menu as the window's menu bar sees it. The application's actions go to the menu's
/// target; the standard ones are carried out here, on the window. Main thread only.
class MenuBridge : public QObject {
  Q_OBJECT
  QML_NAMED_ELEMENT(MainMenu)
  QML_UNCREATABLE("there is one main menu, the application's")
  /// A list of {title, items}; each item is what `validated` returns, before it is validated.
  Q_PROPERTY(QVariantList menus READ menus CONSTANT)

 public:
  struct Standard {
    std::function<void()> about;
    std::function<void()> hide;
    std::function<void()> terminate;
  };

  MenuBridge(const std::vector<Menu>& menus, std::weak_ptr<MenuTarget> target, Standard standard);

  [[nodiscard]] QVariantList menus() const;
  /// The item as it is to be shown now: {title, shortcut, enabled, checked}; an empty title is a
  /// separator.
  Q_INVOKABLE [[nodiscard]] QVariantMap validated(int menu, int item) const;
  /// Does what the item is there for, if it is enabled now.
  Q_INVOKABLE void trigger(int menu, int item);

  /// The window that the standard actions are for.
  void setWindow(QQuickWindow* shown) { window = shown; }

 private:
  [[nodiscard]] const MenuItem& at(int menu, int item) const;
  [[nodiscard]] bool isPossible(MenuAction action) const;
  [[nodiscard]] bool validate(MenuItem& item) const;
  void performStandard(MenuAction action);

  const std::vector<Menu> description;
  const std::weak_ptr<MenuTarget> target;
  const Standard standard;
  QPointer<QQuickWindow> window;
};

}  // namespace quorvex
