/// The HotKey that suits the desktop the program runs on.
#pragma once

#include "QuarrydexApp/platform/HotKey.h"

#include <QDBusConnection>
#include <QString>

#include <memory>

namespace quarrydex {

/// `platformName` as QGuiApplication names it. A grab at an X server that is itself a guest of
/// Wayland would not see the keys of other windows, so there the portal is asked too.
[[nodiscard]] std::unique_ptr<HotKey>
linuxHotKey(const QString& platformName, bool isWaylandSession, const QDBusConnection& bus);

} // namespace quarrydex
