#include "QuarrydexApp/platform/AppPlatform.h"
#include "QuarrydexApp/platform/linux/LinuxFileOpener.h"
#include "QuarrydexApp/platform/linux/LinuxHotKey.h"

#include <QGuiApplication>

#include <memory>

namespace quarrydex {

namespace {

struct Parts {
    QDBusConnection bus = QDBusConnection::sessionBus();
    LinuxFileOpener opener{bus};
    std::unique_ptr<HotKey> hotKey = linuxHotKey(
        QGuiApplication::platformName(), !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"), bus);
    AppPlatform platform{opener, *hotKey};
};

std::unique_ptr<Parts> parts;

} // namespace

const AppPlatform& systemAppPlatform() {
    if (!parts) {
        parts = std::make_unique<Parts>();
        qAddPostRoutine([] { parts.reset(); }); // as the application object goes
    }
    return parts->platform;
}

} // namespace quarrydex
