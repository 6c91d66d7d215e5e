/// Hits among those of the desktop's command field: org.kde.krunner1. Return opens a hit, its one
/// action shows it in its folder.
///
/// Calls are answered when the search has its hits; nothing waits. What comes in is bounded: longer
/// texts find nothing, identifiers that were not made here are ignored.
///
/// Threads: the main thread. Ownership: refers to the search and the opener, which outlive it.
/// Failure: empty answers; files that cannot be opened by `failed`.
#pragma once

#include "QuarrydexApp/dbus/NameSearch.h"
#include "QuarrydexApp/dbus/RunnerTypes.h"
#include "QuarrydexApp/platform/FileOpener.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>

namespace quarrydex {

class Runner : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.krunner1")

  public:
    Runner(NameSearch& search, FileOpener& opener, FileOpener::Failed failed);

    /// Serves busNames::runnerPath. False when the bus refuses.
    [[nodiscard]] bool serve(QDBusConnection bus);

  public Q_SLOTS:
    // The names are the bus's. NOLINTBEGIN(readability-identifier-naming)
    Q_SCRIPTABLE quarrydex::RunnerMatches Match(const QString& query);
    Q_SCRIPTABLE void Run(const QString& id, const QString& action);
    Q_SCRIPTABLE quarrydex::RunnerActions Actions();
    // NOLINTEND(readability-identifier-naming)

  private:
    NameSearch& search_;
    FileOpener& opener_;
    FileOpener::Failed failed_;
};

} // namespace quarrydex
