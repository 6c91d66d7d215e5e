/// Everything below the seam of the windows, in one struct. A new system is a new folder beside
/// linux/ that defines systemAppPlatform().
#pragma once

#include "QuarrydexApp/platform/FileOpener.h"
#include "QuarrydexApp/platform/HotKey.h"
#include "QuarrydexApp/platform/LoginStart.h"

namespace quarrydex {

struct AppPlatform {
    FileOpener& opener;
    HotKey& hotKey;
    LoginStart& loginStart;
};

/// The system this program was built for. Call it with a QGuiApplication; the objects live as long
/// as that. Main thread.
[[nodiscard]] const AppPlatform& systemAppPlatform();

} // namespace quarrydex
