/// Hits among those of the desktop shell's search: org.gnome.Shell.SearchProvider2.
///
/// Calls are answered when the search has its hits; nothing waits. What comes in is bounded: longer
/// texts find nothing, identifiers that were not made here are left out.
///
/// Threads: the main thread. Ownership: refers to the search and the opener, which outlive it.
/// Failure: empty answers; files that cannot be opened by `failed`.
#pragma once

#include "QuarrydexApp/dbus/NameSearch.h"
#include "QuarrydexApp/platform/FileOpener.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace quarrydex {

class SearchProvider : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Shell.SearchProvider2")

  public:
    SearchProvider(NameSearch& search, FileOpener& opener, FileOpener::Failed failed);

    /// Serves busNames::searchProviderPath. False when the bus refuses.
    [[nodiscard]] bool serve(QDBusConnection bus);

  Q_SIGNALS:
    /// The rest of the hits is to be seen in the window.
    void searchRequested(const QString& text);

  public Q_SLOTS:
    // The names are the bus's. NOLINTBEGIN(readability-identifier-naming)
    Q_SCRIPTABLE QStringList GetInitialResultSet(const QStringList& terms);
    Q_SCRIPTABLE QStringList GetSubsearchResultSet(const QStringList& previous,
                                                   const QStringList& terms);
    Q_SCRIPTABLE QList<QVariantMap> GetResultMetas(const QStringList& ids);
    Q_SCRIPTABLE void ActivateResult(const QString& id, const QStringList& terms, uint timestamp);
    Q_SCRIPTABLE void LaunchSearch(const QStringList& terms, uint timestamp);
    // NOLINTEND(readability-identifier-naming)

  private:
    NameSearch& search_;
    FileOpener& opener_;
    FileOpener::Failed failed_;
};

} // namespace quarrydex
