/// What org.kde.krunner1 sends hits and actions as: (sssuda{sv}) and (sss).
#pragma once

#include <QDBusArgument>
#include <QList>
#include <QString>
#include <QVariantMap>

namespace quarrydex {

struct RunnerMatch {
    /// Values of `type`.
    static constexpr uint possible = 30, exact = 100;

    QString id;
    QString text;
    QString iconName;
    uint type = possible;
    double relevance = 0; ///< 0 … 1
    QVariantMap properties;
};

struct RunnerAction {
    QString id;
    QString text;
    QString iconName;
};

using RunnerMatches = QList<RunnerMatch>;
using RunnerActions = QList<RunnerAction>;

inline QDBusArgument& operator<<(QDBusArgument& to, const RunnerMatch& match) {
    to.beginStructure();
    to << match.id << match.text << match.iconName << match.type << match.relevance
       << match.properties;
    to.endStructure();
    return to;
}

inline const QDBusArgument& operator>>(const QDBusArgument& from, RunnerMatch& match) {
    from.beginStructure();
    from >> match.id >> match.text >> match.iconName >> match.type >> match.relevance >>
        match.properties;
    from.endStructure();
    return from;
}

inline QDBusArgument& operator<<(QDBusArgument& to, const RunnerAction& action) {
    to.beginStructure();
    to << action.id << action.text << action.iconName;
    to.endStructure();
    return to;
}

inline const QDBusArgument& operator>>(const QDBusArgument& from, RunnerAction& action) {
    from.beginStructure();
    from >> action.id >> action.text >> action.iconName;
    from.endStructure();
    return from;
}

} // namespace quarrydex

Q_DECLARE_METATYPE(quarrydex::RunnerMatch)
Q_DECLARE_METATYPE(quarrydex::RunnerAction)
