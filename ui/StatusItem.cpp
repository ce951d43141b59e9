#include "StatusItem.h"

#include <QPixmap>

#include "SymbolPictures.h"

namespace quorvex {
namespace {

QIcon masks() {
  QIcon icon;
  for (const int pixels : {16, 22, 24, 32, 48, 64})
    icon.addPixmap(QPixmap::fromImage(symbolPicture("theatermasks", "65A30D", pixels)));
  return icon;
}

}  // namespace

StatusItem::StatusItem() : icon(masks()) {
  QObject::connect(&icon, &QSystemTrayIcon::activated, &icon,
                   [this](QSystemTrayIcon::ActivationReason reason) {
                     const auto stands = target.lock();
                     if (stands && reason == QSystemTrayIcon::Trigger)
                       stands->perform(MenuAction::openWindow);
                   });
}

void StatusItem::setMenu(const Menu& description, const std::weak_ptr<MenuTarget>& menuTarget) {
  target = menuTarget;
  auto made = std::make_unique<QMenu>();
  for (const MenuItem& item : description.items) {
    if (item.title.empty()) {
      made->addSeparator();
      continue;
    }
    // A single "&" would mark a letter of a face's name as a key.
    QAction* action = made->addAction(QString::fromStdString(item.title).replace("&", "&&"));
    action->setEnabled(item.enabled);
    action->setCheckable(item.checked);
    action->setChecked(item.checked);
    if (!item.key.empty())
      action->setShortcut(QKeySequence("Ctrl+" + QString::fromStdString(item.key).toUpper()));
    QObject::connect(action, &QAction::triggered, [weak = target, what = item.action] {
      if (const auto stands = weak.lock()) stands->perform(what);
    });
  }
  icon.setContextMenu(made.get());
  // The old one may be the one whose item is being carried out.
  if (contextMenu) contextMenu.release()->deleteLater();
  contextMenu = std::move(made);
  setTitle(description.items.front().title);
  icon.show();
}

void StatusItem::setTitle(const std::string& title) {
  const QString text = QString::fromStdString(title);
  contextMenu->actions().front()->setText(QString(text).replace("&", "&&"));
  icon.setToolTip(text);
}

}  // namespace quorvex
