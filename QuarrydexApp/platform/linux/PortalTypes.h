/// What the desktop portal's global shortcuts are sent as: (sa{sv}).
#pragma once

#include <QDBusArgument>
#include <QString>
#include <QVariantMap>

namespace quarrydex {

struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

inline QDBusArgument& operator<<(QDBusArgument& to, const PortalShortcut& shortcut) {
    to.beginStructure();
    to << shortcut.id << shortcut.properties;
    to.endStructure();
    return to;
}

inline const QDBusArgument& operator>>(const QDBusArgument& from, PortalShortcut& shortcut) {
    from.beginStructure();
    from >> shortcut.id >> shortcut.properties;
    from.endStructure();
    return from;
}

} // namespace quarrydex

Q_DECLARE_METATYPE(quarrydex::PortalShortcut)
