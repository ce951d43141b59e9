#include "DesktopApplication.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>

namespace quorvex {
namespace {

constexpr const char* kInterface = "org.freedesktop.Application";
constexpr const char* kTokens[][2] = {{"XDG_ACTIVATION_TOKEN", "activation-token"},
                                      {"DESKTOP_STARTUP_ID", "desktop-startup-id"}};

}  // namespace

DesktopApplication::DesktopApplication(QString name)
    : id(std::move(name)), path("/" + QString(id).replace('.', '/').replace('-', '_')) {}

bool DesktopApplication::handOver() const {
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected() || !bus.interface()->isServiceRegistered(id)) return false;
  // What lets the other one take the focus from the program that started this one.
  QVariantMap platformData;
  for (const auto& [variable, key] : kTokens)
    if (const auto token = qEnvironmentVariable(variable); !token.isEmpty())
      platformData[key] = token;
  QDBusInterface other(id, path, kInterface, bus);
  return QDBusReply<void>(other.call("Activate", platformData)).isValid();
}

void DesktopApplication::serve(std::function<void()> whenActivated) {
  activate = std::move(whenActivated);
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  bus.registerObject(path, this, QDBusConnection::ExportAllSlots);
  bus.interface()->registerService(id, QDBusConnectionInterface::QueueService);
}

void DesktopApplication::Activate(const QVariantMap& platformData) {
  for (const auto& [variable, key] : kTokens)
    if (platformData.contains(key)) qputenv(variable, platformData[key].toString().toUtf8());
  activate();
}

void DesktopApplication::Open(const QStringList&, const QVariantMap& platformData) {
  Activate(platformData);
}

void DesktopApplication::ActivateAction(const QString&, const QVariantList&,
                                        const QVariantMap& platformData) {
  Activate(platformData);
}

}  // namespace quorvex
