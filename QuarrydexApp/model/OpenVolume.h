/// The part of making a volume that asks the disk: who it is, and its saved catalogue.
///
/// Threads: any; may take as long as a slow drive takes to answer, so not the main thread.
/// Failure: never; a catalogue that cannot be used is as if there were none.
#pragma once

#include "QuarrydexCore/catalog/SnapshotInfo.h"
#include "QuarrydexCore/catalog/VolumeID.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/FileLock.h"
#include "QuarrydexCore/platform/Platform.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

/// What is to be indexed of one volume.
struct VolumePlan {
    std::string root;                       ///< absolute, without a "/" at its end
    std::vector<std::string> scopes{};      ///< folders to scan; the root alone for all of it
    std::vector<std::string> excludes{};    ///< folders never entered
    std::vector<std::string> includeExts{}; ///< when not empty, the only extensions recorded
    std::string name{};                     ///< for display; empty: the root's last component
    bool isInternal = false;
};

struct OpenedVolume {
    std::string uuid;
    std::string historyId; ///< of the volume's change history
    std::string snapshotPath;
    std::uint64_t configHash{};
    std::shared_ptr<VolumeIndex> index;     ///< from the snapshot, else empty
    std::optional<SnapshotInfo> loaded{};   ///< set when the index came from the snapshot
    VolumeID::Resume resume{};              ///< with `loaded`: how to catch up
    std::shared_ptr<const FileLock> lock{}; ///< null: another process writes this catalogue
};

/// Loads the saved catalogue if it fits the plan. Without `persist` no file is read or made.
[[nodiscard]] OpenedVolume
openVolume(const VolumePlan& plan, const Platform& platform, bool persist);

/// The right to write a catalogue's files; null while another process has it.
[[nodiscard]] std::shared_ptr<const FileLock> lockCatalog(const Platform& platform,
                                                          const std::string& snapshotPath);

/// A saved catalogue whose drive is not connected.
struct OfflineCatalog {
    std::string snapshotPath;
    std::shared_ptr<VolumeIndex> index;
    SnapshotInfo info;
};

/// `offlineCatalogs(skipping:)`: the saved catalogues of external drives but for these identities.
[[nodiscard]] std::vector<OfflineCatalog> offlineCatalogs(const Platform& platform,
                                                          const std::vector<std::string>& skipping);

} // namespace quarrydex
