/// Which mounts are drives to a person: rules over the rows of a MountTable, no system calls.
///
/// Threads: any; no state. Fails: never. Pointers are into the given span.
#pragma once

#include "QuarrydexCore/platform/MountTable.h"

#include <span>
#include <string_view>
#include <vector>

namespace quarrydex {

/// Mounts to offer for indexing, each file system once, pseudo file systems left out. Disk images
/// are among them: VolumeInfo::isDiskImage tells.
struct Drives {
    std::vector<Mount> internal; ///< "/" first, then local mounts outside the external places
    std::vector<Mount> external; ///< mount points below an external place, by path
};

[[nodiscard]] Drives drivesOf(std::span<const Mount> mounts);

/// True when the mount point lies below a place where drives are mounted.
[[nodiscard]] bool isExternalDrive(const Mount& mount);

/// The mount on which an absolute, clean path lies when no link leads elsewhere; nullptr in an
/// empty table.
[[nodiscard]] const Mount* mountOf(std::span<const Mount> mounts, std::string_view path);

/// What came and what went between two readings of the table.
struct MountChanges {
    std::vector<Mount> added;
    std::vector<Mount> removed;
};

[[nodiscard]] MountChanges changesBetween(std::span<const Mount> before,
                                          std::span<const Mount> after);

} // namespace quarrydex
