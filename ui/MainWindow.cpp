#include "MainWindow.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <chrono>

namespace quorvex {
namespace {

constexpr const char* kFrameKey = "window.QuorvexCameraMain";
constexpr std::chrono::milliseconds kSaveDelay{500};

/// The frame in `text`, "x y width height"; none when it is no frame or lies on no screen.
std::optional<QRect> frameOnScreen(const std::string& text) {
  const QStringList numbers = QString::fromStdString(text).split(' ');
  if (numbers.size() != 4) return std::nullopt;
  int values[4] = {};
  for (int i = 0; i < 4; ++i) {
    bool isNumber = false;
    values[i] = numbers[i].toInt(&isNumber);
    if (!isNumber) return std::nullopt;
  }
  const QRect frame(values[0], values[1], values[2], values[3]);
  for (const QScreen* screen : QGuiApplication::screens())
    if (screen->availableGeometry().intersects(frame)) return frame;
  return std::nullopt;
}

}  // namespace

MainWindow::MainWindow(Parts made, Defaults& settings, std::function<bool()> comesBack)
    : parts(std::move(made)), defaults(settings), canComeBack(std::move(comesBack)) {
  placeOnScreen();
  QQuickWindow* window = parts.window.get();
  window->installEventFilter(this);
  saving.setSingleShot(true);
  saving.setInterval(kSaveDelay);
  connect(&saving, &QTimer::timeout, this, &MainWindow::saveFrame);
  for (auto change :
       {&QWindow::xChanged, &QWindow::yChanged, &QWindow::widthChanged, &QWindow::heightChanged})
    connect(window, change, &saving, qOverload<>(&QTimer::start));
}

MainWindow::~MainWindow() {
  if (saving.isActive()) saveFrame();
  parts.window.reset();
}

void MainWindow::placeOnScreen() {
  QQuickWindow& window = *parts.window;
  const QScreen* screen = window.screen();
  if (!screen) return;
  const QRect available = screen->availableGeometry();
  const auto saved = frameOnScreen(defaults.string(kFrameKey).value_or(""));
  const QSize size = saved ? saved->size().expandedTo(window.minimumSize()) : window.size();
  window.resize(size);
  window.setPosition(saved ? saved->topLeft()
                           : available.center() - QPoint(size.width() / 2, size.height() / 2));
}

void MainWindow::saveFrame() {
  const QQuickWindow& window = *parts.window;
  if (window.windowStates() != Qt::WindowNoState) return;
  const QRect frame = window.geometry();
  defaults.setString(kFrameKey, QString("%1 %2 %3 %4")
                                    .arg(frame.x())
                                    .arg(frame.y())
                                    .arg(frame.width())
                                    .arg(frame.height())
                                    .toStdString());
}

void MainWindow::makeKeyAndOrderFront() {
  QQuickWindow& window = *parts.window;
  if (window.windowStates() & Qt::WindowMinimized)
    window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.requestActivate();
}

void MainWindow::close() {
  parts.window->hide();
}

bool MainWindow::eventFilter(QObject*, QEvent* event) {
  if (event->type() != QEvent::Close || canComeBack()) return false;
  // The window is the only way to itself on such a desktop: it stays within reach.
  event->ignore();
  parts.window->showMinimized();
  return true;
}

}  // namespace quorvex
