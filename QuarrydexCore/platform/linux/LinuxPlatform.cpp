#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/platform/linux/FileSettings.h"
#include "QuarrydexCore/platform/linux/LinuxAppFolders.h"
#include "QuarrydexCore/platform/linux/LinuxChangeStreams.h"
#include "QuarrydexCore/platform/linux/LinuxDirReader.h"
#include "QuarrydexCore/platform/linux/LinuxMountTable.h"
#include "QuarrydexCore/platform/linux/LinuxVolumeInfo.h"
#include "QuarrydexCore/platform/linux/SystemClock.h"

namespace quarrydex {

const Platform& systemPlatform() {
    static const LinuxDirReader dirReader;
    static const SystemClock clock;
    static LinuxMountTable mounts;
    static const LinuxVolumeInfo volumes(mounts);
    static const LinuxAppFolders folders;
    static FileSettings settings(folders.config() + "/settings.json");
    static LinuxChangeStreams changeStreams(mounts, volumes);
    static const Platform platform{dirReader, clock,    mounts,       volumes,
                                   folders,   settings, changeStreams};
    return platform;
}

} // namespace quarrydex
