/// Everything below the seam, in one struct. A new system is a new folder beside linux/ that
/// defines systemPlatform(); nothing else of the program includes that folder.
#pragma once

#include "QuarrydexCore/platform/AppFolders.h"
#include "QuarrydexCore/platform/ChangeStream.h"
#include "QuarrydexCore/platform/Clock.h"
#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/platform/MountTable.h"
#include "QuarrydexCore/platform/SettingsStore.h"
#include "QuarrydexCore/platform/VolumeInfo.h"

namespace quarrydex {

struct Platform {
    const DirReader& dirReader;
    const Clock& clock;
    MountTable& mounts;
    const VolumeInfo& volumes;
    const AppFolders& folders;
    SettingsStore& settings;
    ChangeStreams& changeStreams;
};

/// The system this program was built for. The objects live as long as the process. Any thread.
[[nodiscard]] const Platform& systemPlatform();

} // namespace quarrydex
