/// What is indexed of one drive. A plain value, stored under the drive's identity.
///
/// Folders are kept relative to the drive's root, so that the choice survives another mount point.
/// Threads: any. Fails: never.
#pragma once

#include "QuarrydexCore/platform/AppFolders.h"
#include "QuarrydexCore/platform/MountTable.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace quarrydex {

struct SourceConfig {
    bool enabled = true;              ///< the drive is indexed; false: known and ignored
    bool whole = true;                ///< the whole drive rather than chosen folders
    std::vector<std::string> folders; ///< chosen ones, relative to the root, when not `whole`

    bool operator==(const SourceConfig&) const = default;

    /// `scopes(root:)`: the absolute paths of the folders to index: the root alone, or each chosen
    /// folder. Empty when nothing is chosen. A folder that leads out of the root by ".." is left
    /// out.
    [[nodiscard]] std::vector<std::string> scopes(const std::string& root) const;

    /// A path at or below the root as `folders` holds it; the root itself is "". Absent for a path
    /// elsewhere. Both are absolute and clean.
    [[nodiscard]] static std::optional<std::string> relative(std::string_view root,
                                                             std::string_view path);

    /// The user's own folders by their real paths: Desktop, Documents, Downloads, Movies, Music and
    /// Pictures of the home folder and those that the desktop names for the same purposes. Only
    /// those that exist, each once; one inside another is left out. Asks the disk.
    [[nodiscard]] static std::vector<std::string> personalFolders(const AppFolders& folders);

    /// Those that lie on the drive with this root, as `folders` holds them. Asks the disk.
    [[nodiscard]] static std::vector<std::string> personalFoldersOn(const std::string& root,
                                                                    const AppFolders& folders,
                                                                    std::span<const Mount> mounts);

    [[nodiscard]] nlohmann::json json() const;

    /// Absent for anything but a record of these fields with their types; `folders` may lack.
    [[nodiscard]] static std::optional<SourceConfig> fromJson(const nlohmann::json& value);
};

} // namespace quarrydex
