#include "QtWindows.h"

#include <QDir>
#include <QEventLoop>
#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQmlComponent>
#include <QtPlugin>
#include <stdexcept>

#include "FacePictures.h"
#include "MainWindow.h"
#include "SymbolPictures.h"

Q_IMPORT_PLUGIN(QuorvexPlugin)  // NOLINT: its types are part of this library

namespace quorvex {
namespace {

/// Whether OpenGL is there and is no program on the CPU. Asking it loads that program, so a machine
/// that can have no other is not asked.
bool hasGpu() {
  if (QDir("/dev/dri").entryList({"renderD*"}, QDir::System).isEmpty()) return false;
  QOffscreenSurface surface;
  surface.create();
  QOpenGLContext context;
  if (!context.create() || !context.makeCurrent(&surface)) return false;
  const auto* name =
      reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));  // NOLINT
  const QString renderer = QString::fromLatin1(name).toLower();
  return !renderer.contains("llvmpipe") && !renderer.contains("softpipe") &&
         !renderer.contains("swr");
}

}  // namespace

QtWindows::QtWindows(Defaults& settings, std::function<void()> terminateApplication)
    : defaults(settings),
      terminate(std::move(terminateApplication)),
      facePictures(new FacePictures) {
  QGuiApplication::setQuitOnLastWindowClosed(false);
  // Painted by Qt itself a window costs a fraction of what a GPU's emulation takes.
  static const bool gpu = hasGpu();
  if (!gpu && QQuickWindow::graphicsApi() != QSGRendererInterface::Software)
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  engine.addImportPath("qrc:/qt/qml");
  engine.addImageProvider("faces", facePictures);
  engine.addImageProvider("symbols", new SymbolPictures);
}

QtWindows::~QtWindows() = default;

std::unique_ptr<QQuickWindow> QtWindows::make(const char* type, const QVariantMap& properties) {
  QQmlComponent component(&engine, QString("qrc:/qt/qml/Quorvex/%1.qml").arg(type));
  std::unique_ptr<QObject> made(component.createWithInitialProperties(properties));
  auto* window = qobject_cast<QQuickWindow*>(made.get());
  // The views are part of the program; what is wrong with them no user can mend.
  if (!window) throw std::logic_error(component.errorString().toStdString());
  made.release();  // NOLINT: it is the window
  return std::unique_ptr<QQuickWindow>(window);
}

std::unique_ptr<Window> QtWindows::makeMainWindow(AppModel& model) {
  MainWindow::Parts parts;
  parts.model = std::make_unique<ModelBridge>(model, defaults, *facePictures);
  parts.window = make("MainWindow", {{"model", QVariant::fromValue(parts.model.get())},
                                     {"mainMenu", QVariant::fromValue(mainMenu.get())}});
  mainWindow = parts.window.get();
  mainMenu->setWindow(mainWindow);
  return std::make_unique<MainWindow>(std::move(parts), defaults,
                                      [] { return StatusItem::isAvailable(); });
}

void QtWindows::setMainMenu(std::vector<Menu> menus, std::weak_ptr<MenuTarget> target) {
  mainMenu = std::make_unique<MenuBridge>(
      menus, std::move(target),
      MenuBridge::Standard{
          .about = [this] { showAbout(); }, .hide = [this] { hideAll(); }, .terminate = terminate});
}

void QtWindows::setStatusMenu(Menu menu, std::weak_ptr<MenuTarget> target) {
  statusItem.setMenu(menu, target);
}

void QtWindows::setStatusTitle(const std::string& title) {
  statusItem.setTitle(title);
}

std::size_t QtWindows::runModal(const Alert& alert) {
  const std::size_t last = alert.buttons.size() - 1;
  if (alertWindow) {
    // It waits for its answer already.
    alertWindow->raise();
    alertWindow->requestActivate();
    return last;
  }
  QStringList buttons;
  for (const auto& button : alert.buttons) buttons << QString::fromStdString(button);
  const auto window =
      make("AlertWindow", {{"messageText", QString::fromStdString(alert.messageText)},
                           {"informativeText", QString::fromStdString(alert.informativeText)},
                           {"buttons", buttons}});
  alertWindow = window.get();
  if (mainWindow && mainWindow->isVisible()) {
    window->setTransientParent(mainWindow);
    const QRect behind = mainWindow->geometry();
    window->setPosition(behind.center() - QPoint(window->width() / 2, window->height() / 2));
  }
  QEventLoop loop;
  QObject::connect(window.get(), &QWindow::visibleChanged, &loop, [&loop](bool visible) {
    if (!visible) loop.quit();
  });
  window->show();
  window->requestActivate();
  loop.exec();
  if (window->transientParent()) mainWindow->requestActivate();
  return static_cast<std::size_t>(window->property("choice").toInt());
}

void QtWindows::showAbout() {
  if (!about) about = make("AboutWindow", {});
  about->show();
  about->raise();
  about->requestActivate();
}

void QtWindows::hideAll() {
  if (about) about->hide();
  if (!mainWindow) return;
  if (StatusItem::isAvailable())
    mainWindow->hide();
  else
    mainWindow->showMinimized();
}

}  // namespace quorvex
