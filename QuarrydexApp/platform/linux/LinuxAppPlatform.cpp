#include "QuarrydexApp/platform/AppPlatform.h"
#include "QuarrydexApp/platform/linux/AutostartFile.h"
#include "QuarrydexApp/platform/linux/LinuxFileOpener.h"
#include "QuarrydexApp/platform/linux/LinuxHotKey.h"
#include "QuarrydexCore/base/AppInfo.h"

#include <QFile>
#include <QGuiApplication>
#include <QStandardPaths>

#include <memory>

namespace quarrydex {

namespace {

std::string autostartFolder() {
    return QFile::encodeName(
               QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
               QStringLiteral("/autostart"))
        .toStdString();
}

struct Parts {
    QDBusConnection bus = QDBusConnection::sessionBus();
    LinuxFileOpener opener{bus};
    std::unique_ptr<HotKey> hotKey = linuxHotKey(
        QGuiApplication::platformName(), !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"), bus);
    AutostartFile loginStart{
        autostartFolder(),
        appName,
        {QCoreApplication::applicationFilePath().toStdString(), "--background"}};
    AppPlatform platform{opener, *hotKey, loginStart};
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
