#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>

namespace quorvex {

/// The application on the session bus, as org.freedesktop.Application has it: one instance at a
/// time; a further start brings the first one forward. Main thread only.
class DesktopApplication : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

 public:
  /// `id` is the application's reverse-DNS name.
  explicit DesktopApplication(QString id);

  /// True when another instance runs and has come forward in this one's place. False also where
  /// there is no session bus.
  [[nodiscard]] bool handOver() const;

  /// Takes the name, or waits for it in line behind an instance that is about to end. `activate` is
  /// called whenever another start asks for this instance.
  void serve(std::function<void()> activate);

 public Q_SLOTS:  // NOLINT: the names are the interface's
  void Activate(const QVariantMap& platformData);
  void Open(const QStringList& uris, const QVariantMap& platformData);
  void ActivateAction(const QString& action, const QVariantList& parameter,
                      const QVariantMap& platformData);

 private:
  const QString id;
  const QString path;
  std::function<void()> activate;
};

}  // namespace quorvex
