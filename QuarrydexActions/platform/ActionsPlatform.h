/// Everything below the seam of the file actions, in one struct. A new system is a new folder
/// beside linux/ that defines systemActionsPlatform().
#pragma once

#include "QuarrydexActions/platform/ProtectedPaths.h"
#include "QuarrydexActions/platform/Rename.h"
#include "QuarrydexActions/platform/Trash.h"

namespace quarrydex {

struct ActionsPlatform {
    const Trash& trash;
    const Rename& rename;
    const ProtectedPaths& paths;
};

/// The system this program was built for. The objects live as long as the process. Any thread.
[[nodiscard]] const ActionsPlatform& systemActionsPlatform();

} // namespace quarrydex
