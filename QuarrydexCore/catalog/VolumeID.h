/// Identities: of volumes, of the settings that a catalogue was made under, and of the files that
/// catalogues are kept in. By them a snapshot is found again and judged.
///
/// Threads: any; no state but the seam it asks. Asking may wait for a slow drive (VolumeInfo).
/// Fails: never; a volume without an identity of its own gets one from its path.
#pragma once

#include "QuarrydexCore/catalog/SnapshotInfo.h"
#include "QuarrydexCore/platform/AppFolders.h"
#include "QuarrydexCore/platform/VolumeInfo.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quarrydex {

class VolumeID {
  public:
    /// How a loaded catalogue catches up.
    enum class Resume : std::uint8_t {
        replay,    ///< by the change history since the saved event id
        reconcile, ///< by comparing every folder's time with the disk
        invalid,   ///< not at all: it is another volume's catalogue
    };

    explicit VolumeID(const VolumeInfo& info) : info_(info) {}

    /// `uuid(forPath:)`: the identity of the volume that holds the path, where it has one.
    [[nodiscard]] std::optional<std::string> uuid(const std::string& forPath) const;

    /// The uuid, else "path-" and the upper-case hexadecimal fnv of the root. Always the same for
    /// one root on one volume; 1 to 47 bytes, as the snapshot's header has room for.
    [[nodiscard]] std::string identity(const std::string& root) const;

    /// `fsType(forPath:)`
    [[nodiscard]] std::string fsType(const std::string& forPath) const;

    /// 64-bit FNV-1a.
    [[nodiscard]] static std::uint64_t fnv(std::string_view bytes);

    /// Hash of the excluded folders as a set: order, doubles and a "/" at the end do not matter.
    [[nodiscard]] static std::uint64_t exclHash(std::span<const std::string> excludes);

    /// `configHash(excludes:scopes:includeExts:)`: hash of all that decides what a scan records and
    /// how, each list taken as a set, with the folding of names (its scheme and Unicode version).
    [[nodiscard]] static std::uint64_t configHash(std::span<const std::string> excludes,
                                                  std::span<const std::string> scopes,
                                                  std::span<const std::string> includeExts);

    /// `snapshotPath(uuid:root:in:)`: "<folder>/<identity>-<16 hex digits>.idx"; the digits stand
    /// for the identity and the root together. Every byte of the name is a letter, a digit, "-",
    /// "." or "_", and the name never begins with ".".
    [[nodiscard]] static std::string
    snapshotPath(std::string_view uuid, std::string_view root, std::string_view in);

    /// The catalogues' folder. Makes it, for the user alone, where it is missing; when that fails
    /// the path is returned all the same, and saving fails.
    [[nodiscard]] static std::string directory(const AppFolders& folders);

    /// The volume as it is now.
    struct Live {
        std::string uuid; ///< its identity
        std::string root;
        std::string fseUUID; ///< identity of its change history; empty for none
    };

    /// `resume(snapshot:root:)`: the verdict on a snapshot for this volume. Texts are compared as
    /// the header holds them, cut to its fields.
    [[nodiscard]] static Resume resume(const SnapshotInfo& snapshot, const Live& live);

  private:
    const VolumeInfo& info_;
};

} // namespace quarrydex
