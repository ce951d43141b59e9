#pragma once

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>

#include "support/Eventually.h"
#include "ui/MainWindow.h"

namespace quorvex::test {

/// A main window as the user has it: things are found by their names, pressed and looked at.
class ShownWindow {
 public:
  explicit ShownWindow(Window& window)
      : ShownWindow(dynamic_cast<MainWindow&>(window).quickWindow()) {}
  explicit ShownWindow(QQuickWindow& window) : quick(window) {}

  /// All items of a name, in the order in which they are drawn.
  [[nodiscard]] std::vector<QQuickItem*> all(const QString& name) const {
    return collected([&name](const QQuickItem* item) { return item->objectName() == name; });
  }
  [[nodiscard]] QQuickItem* item(const QString& name) const { return firstOf(all(name), name); }
  [[nodiscard]] bool shows(const QString& name) const {
    const auto found = all(name);
    return !found.empty() && found.front()->isVisible();
  }
  /// Where an item is in the content, beneath the menu bar.
  [[nodiscard]] QRectF rect(const QQuickItem* found) const {
    return found->mapRectToItem(content(), found->boundingRect());
  }
  [[nodiscard]] QRectF rect(const QString& name) const { return rect(item(name)); }
  [[nodiscard]] QQuickItem* content() const { return item("MainWindowView"); }
  /// A button, a switch or a menu's line by what is written on it.
  [[nodiscard]] QQuickItem* control(const QString& text) const {
    const auto found = collected([&text](const QQuickItem* item) {
      return item->isVisible() && item->property("text") == text &&
             item->property("down").isValid();
    });
    return firstOf(found, text);
  }

  /// Lets what has been asked for show.
  void settle() const {
    QCoreApplication::processEvents();
    (void)quick.grabWindow();
    QCoreApplication::processEvents();
  }
  void click(const QQuickItem* item, Qt::MouseButton button = Qt::LeftButton) const {
    if (item) QTest::mouseClick(&quick, button, {}, middle(item));
  }
  void drag(const QQuickItem* item, QPoint by) const {
    const QPoint from = middle(item);
    QTest::mousePress(&quick, Qt::LeftButton, {}, from);
    QTest::mouseMove(&quick, from + by / 2);
    QTest::mouseMove(&quick, from + by);
    QTest::mouseRelease(&quick, Qt::LeftButton, {}, from + by);
    QCoreApplication::processEvents();
  }
  void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const {
    QTest::keyClick(&quick, key, modifiers);
  }
  [[nodiscard]] QColor colourAt(QPointF inContent) const {
    const QPointF scene = content()->mapToScene(inContent);
    return quick.grabWindow().pixelColor(scene.toPoint());
  }
  template <class Condition>
  [[nodiscard]] static bool comes(Condition condition) {
    return eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }

  QQuickWindow& quick;

 private:
  [[nodiscard]] static QPoint middle(const QQuickItem* item) {
    return item->mapToScene(item->boundingRect().center()).toPoint();
  }
  static QQuickItem* firstOf(const std::vector<QQuickItem*>& found, const QString& what) {
    if (found.empty()) ADD_FAILURE() << "there is no " << what.toStdString();
    return found.empty() ? nullptr : found.front();
  }
  template <class Condition>
  [[nodiscard]] std::vector<QQuickItem*> collected(Condition condition) const {
    std::vector<QQuickItem*> found;
    const std::function<void(QQuickItem*)> collect = [&](QQuickItem* from) {
      if (condition(from)) found.push_back(from);
      for (QQuickItem* child : from->childItems()) collect(child);
    };
    collect(quick.contentItem());
    return found;
  }
};

/// Presses the key in the alert that comes up next.
inline void answerAlert(Qt::Key key) {
  QTimer::singleShot(5, [key] {
    QWindow* alert = QGuiApplication::modalWindow();
    // Active is a window a moment before its button has the keyboard.
    if (!alert || alert->focusObject() == alert) return answerAlert(key);
    QTest::keyClick(alert, key);
  });
}

}  // namespace quorvex::test
