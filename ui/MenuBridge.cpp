#include "MenuBridge.h"

#include <QQuickItem>

namespace quorvex {
namespace {

/// The method by which an item with text does it; none for an action that is not for text.
const char* editingMethod(MenuAction action) {
  switch (action) {
    case MenuAction::undo:
      return "undo";
    case MenuAction::redo:
      return "redo";
    case MenuAction::cut:
      return "cut";
    case MenuAction::copy:
      return "copy";
    case MenuAction::paste:
      return "paste";
    case MenuAction::selectAll:
      return "selectAll";
    default:
      return nullptr;
  }
}

QString shortcut(const MenuItem& item) {
  if (item.key.empty()) return {};
  return QString("Ctrl+") + (item.option ? "Alt+" : "") + (item.shift ? "Shift+" : "") +
         QString::fromStdString(item.key).toUpper();
}

QVariantMap shown(const MenuItem& item, bool enabled) {
  return {{"title", QString::fromStdString(item.title)},
          {"shortcut", shortcut(item)},
          {"enabled", enabled},
          {"checked", item.checked}};
}

}  // namespace

MenuBridge::MenuBridge(const std::vector<Menu>& menus, std::weak_ptr<MenuTarget> menuTarget,
                       Standard standardActions)
    : description(menus), target(std::move(menuTarget)), standard(std::move(standardActions)) {}

const MenuItem& MenuBridge::at(int menu, int item) const {
  return description.at(static_cast<std::size_t>(menu)).items.at(static_cast<std::size_t>(item));
}

QVariantList MenuBridge::menus() const {
  QVariantList all;
  for (const Menu& menu : description) {
    QVariantList items;
    for (const MenuItem& item : menu.items) items.append(shown(item, item.enabled));
    all.append(QVariantMap{{"title", QString::fromStdString(menu.title)}, {"items", items}});
  }
  return all;
}

bool MenuBridge::isPossible(MenuAction action) const {
  if (const char* method = editingMethod(action)) {
    const QQuickItem* item = window ? window->activeFocusItem() : nullptr;
    return item && item->metaObject()->indexOfMethod((QByteArray(method) + "()").constData()) >= 0;
  }
  // No desktop lets one application hide the others.
  return action != MenuAction::hideOtherApplications && action != MenuAction::unhideAllApplications;
}

bool MenuBridge::validate(MenuItem& item) const {
  if (isStandard(item.action)) return isPossible(item.action);
  const auto stands = target.lock();
  return stands && stands->validateMenuItem(item);
}

QVariantMap MenuBridge::validated(int menu, int item) const {
  MenuItem copy = at(menu, item);
  const bool enabled = validate(copy);
  return shown(copy, enabled);
}

void MenuBridge::trigger(int menu, int item) {
  MenuItem copy = at(menu, item);
  if (!validate(copy)) return;
  if (isStandard(copy.action)) return performStandard(copy.action);
  if (const auto stands = target.lock()) stands->perform(copy.action);
}

void MenuBridge::performStandard(MenuAction action) {
  if (action == MenuAction::orderFrontStandardAboutPanel) return standard.about();
  if (action == MenuAction::hide) return standard.hide();
  if (action == MenuAction::terminate) return standard.terminate();
  if (!window) return;
  if (const char* method = editingMethod(action)) {
    QMetaObject::invokeMethod(window->activeFocusItem(), method);
  } else if (action == MenuAction::performMiniaturize) {
    window->showMinimized();
  } else if (action == MenuAction::performZoom) {
    window->setWindowStates(window->windowStates() ^ Qt::WindowMaximized);
  } else if (action == MenuAction::performClose) {
    window->close();
  } else if (action == MenuAction::arrangeInFront) {
    window->raise();
  }
}

}  // namespace quorvex
