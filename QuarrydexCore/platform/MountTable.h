/// The mounts of this machine: what is mounted where, and what comes and goes.
///
/// The table is the one authority on mounts: reading it never waits for a mounted file system, so
/// that a network share that does not answer can be recognised before anyone asks it something.
///
/// Threads: any. Failure: a table that cannot be read is empty; observers then hear of nothing.
#pragma once

#include "QuarrydexCore/base/Subscription.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

struct Mount {
    std::uint64_t id{};       ///< unique among the mounts of one moment; used again later
    std::uint64_t parentId{}; ///< of the mount that it lies on
    /// Unique as long as the machine runs; 0 where the system does not tell. It tells a drive that
    /// was changed for another one, or taken out and put back, between two looks.
    std::uint64_t serial{};
    std::string path;       ///< absolute, raw bytes, no "/" at its end except for "/" itself
    std::string root;       ///< the folder of the file system that shows there; mostly "/"
    std::string fsType;     ///< "ext4", "fuse.sshfs", …
    std::string source;     ///< "/dev/sda1", "host:/export", …
    std::string options;    ///< of the mount and of its file system, joined by commas
    std::uint64_t device{}; ///< as status calls report it for entries of most file systems
    bool readOnly{};
    bool isPseudo{};  ///< holds nothing of the user's: proc, tmpfs, overlay, …
    bool isNetwork{}; ///< may not answer for minutes; tells of no changes made elsewhere

    bool operator==(const Mount&) const = default;

    /// Still the same mount: whatever may change while something stays mounted is left out.
    [[nodiscard]] bool isSameMount(const Mount& other) const;
};

class MountTable {
  public:
    /// Mounts that came and mounts that went. A change of options alone is not told.
    using Observer =
        std::function<void(const std::vector<Mount>& added, const std::vector<Mount>& removed)>;

    virtual ~MountTable() = default;

    /// In the order of mounting: of two at one path the later one is seen.
    [[nodiscard]] virtual std::vector<Mount> mounts() const = 0;

    /// Calls the observer on a thread of the table's own for every change after this call, one
    /// call at a time, until the subscription is destroyed.
    [[nodiscard]] virtual std::unique_ptr<Subscription> observe(Observer observer) = 0;
};

/// True for the folders in which drives are mounted (/Volumes, /media, /run/media, /mnt) and for
/// every path below one of them. The path is absolute and clean.
[[nodiscard]] bool isExternalPlace(std::string_view path);

} // namespace quarrydex
