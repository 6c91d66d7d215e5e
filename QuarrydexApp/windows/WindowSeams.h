/// What the windows reach the system by, so that tests can stand in for it. A plain value.
#pragma once

#include "QuarrydexApp/platform/LoginStart.h"
#include "QuarrydexApp/windows/FolderPicker.h"
#include "QuarrydexCore/platform/Platform.h"

namespace quarrydex {

struct WindowSeams {
    const Platform& platform = systemPlatform();
    FolderPicker pickFolder = systemFolderPicker();
    LoginStart* loginStart = nullptr; ///< null: not offered; lives until the program ends
};

} // namespace quarrydex
