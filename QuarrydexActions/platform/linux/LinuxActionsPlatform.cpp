#include "QuarrydexActions/platform/ActionsPlatform.h"
#include "QuarrydexActions/platform/linux/GioTrash.h"
#include "QuarrydexActions/platform/linux/LinuxProtectedPaths.h"
#include "QuarrydexActions/platform/linux/LinuxRename.h"
#include "QuarrydexCore/platform/Platform.h"

namespace quarrydex {

const ActionsPlatform& systemActionsPlatform() {
    static const GioTrash trash;
    static const LinuxRename rename;
    static const LinuxProtectedPaths paths(systemPlatform().mounts, systemPlatform().folders);
    static const ActionsPlatform platform{trash, rename, paths};
    return platform;
}

} // namespace quarrydex
