/// What can be learnt of the file system that holds a path.
///
/// Every question that has to touch the file system is asked on another thread and given up after
/// a few seconds, so that a share that hangs costs that wait and no more; network mounts are not
/// asked for what they never have. Even so, ask in the background.
///
/// Threads: any. Failure: what cannot be learnt, in time or at all, is absent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quarrydex {

/// One file or folder for as long as it exists: a renamed one keeps it, one made anew under the old
/// name has another.
struct FileIdentity {
    std::uint64_t device{};
    std::uint64_t inode{};
    std::int64_t birthTimeNs{}; ///< since 1970-01-01 UTC; 0 where the file system keeps none

    bool operator==(const FileIdentity&) const = default;
};

class VolumeInfo {
  public:
    virtual ~VolumeInfo() = default;

    /// The text that tells the volume from every other, also on another day and at another mount
    /// point; at most 47 bytes. The file system's UUID or serial number; where only a part of the
    /// file system is mounted (a subvolume, a bind mount), followed by "-" and eight digits that
    /// stand for that part. Absent where there is none that lasts, as for shares and memory.
    [[nodiscard]] virtual std::optional<std::string> uuid(const std::string& path) const = 0;

    /// The file system's label, else the name of the folder it is mounted on; empty for "/".
    [[nodiscard]] virtual std::string label(const std::string& path) const = 0;

    /// As in Mount::fsType; empty when unknown.
    [[nodiscard]] virtual std::string fsType(const std::string& path) const = 0;

    /// True when the volume is a file on another volume, mounted as if it were a drive.
    [[nodiscard]] virtual bool isDiskImage(const std::string& path) const = 0;

    /// Of what the path names, links followed.
    [[nodiscard]] virtual std::optional<FileIdentity> identity(const std::string& path) const = 0;
};

} // namespace quarrydex
