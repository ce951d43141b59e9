#pragma once

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <functional>
#include <memory>
#include <vector>

#include "MenuBridge.h"
#include "StatusItem.h"
#include "model/AppModel.h"
#include "platform/Defaults.h"
#include "platform/Windows.h"

namespace quorvex {

class FacePictures;

/// Windows, menus and alerts in Qt Quick, the status item in the desktop's tray. Needs a
/// QApplication. Main thread only.
class QtWindows : public Windows {
 public:
  /// `terminate` ends the application, if it agrees. `defaults` outlives this.
  QtWindows(Defaults& defaults, std::function<void()> terminate);
  ~QtWindows() override;

  /// The main window, hidden, with the main menu set before. It does not outlive this, nor `model`.
  [[nodiscard]] std::unique_ptr<Window> makeMainWindow(AppModel& model);

  void setMainMenu(std::vector<Menu> menus, std::weak_ptr<MenuTarget> target) override;
  void setStatusMenu(Menu menu, std::weak_ptr<MenuTarget> target) override;
  void setStatusTitle(const std::string& title) override;
  [[nodiscard]] std::size_t runModal(const Alert& alert) override;

  [[nodiscard]] const QMenu* statusMenu() const { return statusItem.menu(); }

 private:
  [[nodiscard]] std::unique_ptr<QQuickWindow> make(const char* type, const QVariantMap& properties);
  void showAbout();
  void hideAll();

  Defaults& defaults;
  const std::function<void()> terminate;
  QQmlApplicationEngine engine;
  FacePictures* facePictures;  ///< the engine's
  StatusItem statusItem;
  std::unique_ptr<MenuBridge> mainMenu;
  QPointer<QQuickWindow> mainWindow;
  std::unique_ptr<QQuickWindow> about;
  QPointer<QQuickWindow> alertWindow;
};

}  // namespace quorvex
