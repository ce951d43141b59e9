#pragma once

#include <QObject>
#include <QQuickWindow>
#include <QTimer>
#include <functional>
#include <memory>

#include "ModelBridge.h"
#include "platform/Windows.h"

namespace quorvex {

/// The main window over the model. Remembers where it was, under its autosave name. Main thread
/// only.
class MainWindow : public QObject, public Window {
 public:
  struct Parts {
    std::unique_ptr<ModelBridge> model;
    std::unique_ptr<QQuickWindow> window;  ///< hidden; over `model`
  };

  /// `canComeBack` tells whether anything but the window could bring it back once it is hidden.
  MainWindow(Parts parts, Defaults& defaults, std::function<bool()> canComeBack);
  ~MainWindow() override;

  [[nodiscard]] bool isVisible() const override { return parts.window->isVisible(); }
  void makeKeyAndOrderFront() override;
  void close() override;
  [[nodiscard]] QQuickWindow& quickWindow() { return *parts.window; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void placeOnScreen();
  void saveFrame();

  Parts parts;
  Defaults& defaults;
  const std::function<bool()> canComeBack;
  QTimer saving;
};

}  // namespace quorvex
