/// The folders among a catalogue's entries, found once: entries are only added, and none becomes a
/// folder or ceases to be one (a deleted folder stays listed).
///
/// Threads: one at a time; VolumeIndex calls it under its lock. Views are immutable and may be read
/// by any thread for as long as it likes.
#pragma once

#include "QuarrydexCore/catalog/Entries.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace quarrydex {

/// A prefix of the folder cache; the owner keeps it alive and unchanged.
struct FolderIds {
    std::span<const EntryId> ids;
    std::shared_ptr<const std::vector<EntryId>> owner;
};

class FolderCache {
  public:
    /// Ids of the folders below `end`, ascending; looks only at entries not seen before.
    [[nodiscard]] FolderIds upTo(std::uint32_t end, const Entries& entries);

  private:
    std::uint32_t examined_ = 0; ///< ids looked at so far
    /// Appended to in place while its capacity lasts.
    std::shared_ptr<std::vector<EntryId>> ids_ = std::make_shared<std::vector<EntryId>>();
};

} // namespace quarrydex
