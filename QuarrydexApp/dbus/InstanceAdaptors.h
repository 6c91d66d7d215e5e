/// The bus interfaces of SingleInstance: calls become its signals, after their replies, so that
/// nobody waits for a window.
///
/// Threads: the main thread. Ownership: children of the SingleInstance. Failure: errors of the
/// bus's own, InvalidArgs for what is too long or unknown.
#pragma once

#include "QuarrydexApp/dbus/SingleInstance.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace quarrydex {

/// For scripts: `gdbus call … --method io.github.quarrydex.Quarrydex.Search remix`.
class ScriptAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "io.github.quarrydex.Quarrydex")

  public:
    ScriptAdaptor(SingleInstance& instance, const QDBusConnection& bus);

  public Q_SLOTS:
    // The names are the bus's. NOLINTBEGIN(readability-identifier-naming)
    void Toggle();
    void Show();
    void Search(const QString& text, const QDBusMessage& call);
    // NOLINTEND(readability-identifier-naming)

  private:
    SingleInstance& instance_;
    QDBusConnection bus_; ///< for what is refused
};

/// The desktop's own interface for programs. Actions: "toggle", "show", "search" (with the text as
/// parameter), and those of the desktop file, "new-search" and "find-duplicates".
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public:
    ApplicationAdaptor(SingleInstance& instance, const QDBusConnection& bus);

  public Q_SLOTS:
    // The names are the bus's. NOLINTBEGIN(readability-identifier-naming)
    void Activate(const QVariantMap& platformData);

    /// Files mean nothing to a search: its window shows, as for a start with them.
    void Open(const QStringList& uris, const QVariantMap& platformData);

    void ActivateAction(const QString& name,
                        const QVariantList& parameter,
                        const QVariantMap& platformData,
                        const QDBusMessage& call);
    // NOLINTEND(readability-identifier-naming)

  private:
    SingleInstance& instance_;
    QDBusConnection bus_; ///< for what is refused
};

} // namespace quarrydex
