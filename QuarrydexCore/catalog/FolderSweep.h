/// Compares every known folder's time on disk with the catalogue's: the way to learn what changed
/// while nobody watched. A folder's time changes when a name in it comes, goes or changes; it does
/// not when a file in it is written in place.
///
/// Times are kept in seconds, so a change within the second in which a folder was last read cannot
/// be told by its time. A folder whose known time is the `reference` less two seconds, or later,
/// therefore counts as differing; the reference is when the catalogue was last known to be right:
/// the start of the scan or reconcile, or the moment of the last event applied before it was saved.
/// Roots always do, since their times are not kept.
///
/// Another folder may have been put in a folder's place that was made and last changed in the same
/// seconds, as those of one archive were. One that was moved since the reference therefore counts
/// as another one, with all that it holds. Once a name in it has changed too, the move cannot be
/// seen any more; folders in it that look as before are then left to the DeepPass.
///
/// Threads: run() by one thread at a time, beside searches but not beside a refresh. Changes
/// nothing. Failure: a folder that the system refuses to examine counts as unchanged.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/ChangeStream.h"

#include <cstdint>
#include <optional>
#include <string>

namespace quarrydex {

class FolderSweep {
  public:
    struct Options {
        std::optional<std::int64_t> reference; ///< seconds since 1970-01-01 UTC
        int threads = 1;
    };

    FolderSweep(const VolumeIndex& index, Options options);

    /// `differs` is called for each folder that differs, is gone, or is another one than known.
    /// Roots come first, then the most recently changed folders. `enter` and `mayGoOn` may be
    /// empty.
    void run(const SweepCalls& calls) const;

  private:
    enum class Finding : std::uint8_t { same, differs, replaced };

    [[nodiscard]] std::vector<EntryId> folders() const;
    [[nodiscard]] Finding examine(EntryId id, const std::string& path) const;

    const VolumeIndex& index_;
    const Options options_;
};

} // namespace quarrydex
