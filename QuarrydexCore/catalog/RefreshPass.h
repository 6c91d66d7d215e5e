/// The work of one VolumeIndex::refresh, in rounds.
///
/// A round reads the folders wanted so far (in parallel, the disk being the slow part), matches
/// each with its known children in ascending id order, parents before what is below them, and
/// learns of further folders to read: the folder above one that is gone, everything below one that
/// was replaced. No folder is read twice in one refresh.
///
/// Times: a folder takes its modification time over from its own status, read before its listing.
/// What its parent's listing says of it is not taken over: the change that it tells of has not been
/// seen yet, and a later comparison of times must still find it.
///
/// Threads: one at a time; searches may run beside it. Failure: a folder that cannot be read is
/// left as it is; nothing is removed but what is known to be gone.
#pragma once

#include "QuarrydexCore/catalog/ChildIndex.h"
#include "QuarrydexCore/catalog/RefreshStats.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/DirReader.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class RefreshPass {
  public:
    RefreshPass(VolumeIndex& index, fidx& store, RefreshOptions options);

    /// Notes the folders to re-read, and those of the options.
    void request(std::span<const std::string> dirs);

    /// True while folders remain to be read.
    [[nodiscard]] bool hasWork() const { return !wanted_.empty() || !wantedBelow_.empty(); }

    /// Returns true when the catalogue changed.
    bool runRound();

    [[nodiscard]] const RefreshStats& stats() const { return stats_; }

  private:
    enum class Outcome : std::uint8_t {
        listed,
        closed,  ///< a folder that scans do not enter: nothing may be known below it
        gone,    ///< no such folder any more
        ignored, ///< excluded, or refused by the system
    };

    /// What the file system says of one folder.
    struct Reading {
        EntryId folder{};
        std::string path;
        Outcome outcome{};
        PathStatus status; ///< before the listing; not of a root
        fidx_listing listing;
    };

    void note(std::span<const std::string> dirs, bool recursive);
    [[nodiscard]] bool mayGoOn();
    void wantFoldersBelow();
    [[nodiscard]] std::vector<EntryId> takeWanted();
    [[nodiscard]] bool isExcluded(std::string_view path) const;
    [[nodiscard]] bool isLive(EntryId id) const;
    [[nodiscard]] bool isRoot(EntryId id) const;

    void read(Reading& reading) const;
    [[nodiscard]] Outcome readRoot(Reading& reading) const;
    [[nodiscard]] Outcome readFolder(Reading& reading) const;

    void apply(const Reading& reading, const ChildIndex& children);
    void match(const Reading& reading, std::span<const EntryId> children);
    [[nodiscard]] bool isSameObject(EntryId id, const fidx_record& record) const;
    void matchChild(EntryId id, const fidx_record& record);
    void append(const Reading& reading, std::span<const std::uint32_t> fresh);
    void enter(const std::string& folder, EntryId id);
    void remove(EntryId id);
    void removeBelowRemoved();
    void update(const EntryChange& change);
    void writeChanges();

    VolumeIndex& index_;
    fidx& store_;
    const RefreshOptions options_;
    RefreshStats stats_;
    std::vector<std::string> excludes_;
    std::vector<EntryId> wanted_;         ///< to be read in the next round
    std::vector<EntryId> wantedBelow_;    ///< and every known folder below these
    BitWords isDone_;                     ///< read, or being read
    std::vector<EntryId> removedFolders_; ///< whose descendants still stand
    std::vector<EntryChange> changes_;    ///< not yet written
};

} // namespace quarrydex
