/// The catalogue of one drive or chosen root: the entry store with its settings, its kept sort
/// orders and its audio table. The one object of this layer that the rest of the program holds.
///
/// Threads: any. Reading entries below count() takes no lock (see fidx.h). Settings are made before
/// the first scan. One thread at a time scans or refreshes (the catalogue's owner sees to that);
/// searches and orders may run beside it.
/// Locks: saveLock before the store's append mutex; `lock` is a leaf, held for short sections only,
/// never during a sort, a scan or a search.
/// Failure: scan throws IndexError; allocation failure ends the process.
#pragma once

#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/HitSet.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/catalog/IndexError.h"
#include "QuarrydexCore/catalog/KeptOrders.h"
#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/RefreshStats.h"
#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/store/fidx.h"

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class VolumeIndex {
  public:
    static constexpr std::uint32_t defaultMaxEntries = 67'108'864;         ///< 2^26
    static constexpr std::uint64_t defaultMaxNameBytes = 3'221'225'472ULL; ///< 3 GiB

    /// `init(maxEntries:maxNameBytes:excludes:)`: an empty catalogue with a random non-zero
    /// storeID.
    explicit VolumeIndex(std::uint32_t maxEntries = defaultMaxEntries,
                         std::uint64_t maxNameBytes = defaultMaxNameBytes,
                         std::vector<std::string> excludes = {});

    /// `init(adopting:storeID:excludes:)`: takes over a store that is already filled.
    [[nodiscard]] static std::unique_ptr<VolumeIndex>
    adopting(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes);

    ~VolumeIndex();
    VolumeIndex(const VolumeIndex&) = delete;
    VolumeIndex& operator=(const VolumeIndex&) = delete;

    // --- Settings -------------------------------------------------------------------------------

    /// `setIncludeExts(_:)`: replaces the included extensions; empty records everything.
    void setIncludeExts(std::vector<std::string> exts);

    [[nodiscard]] const std::vector<std::string>& excludes() const { return excludes_; }

    [[nodiscard]] const std::vector<std::string>& includeExts() const { return includeExts_; }

    /// Ties the audio table's file to this catalogue.
    [[nodiscard]] std::uint64_t storeID() const { return storeID_; }

    // --- Filling --------------------------------------------------------------------------------

    /// `scan(roots:threads:)`: scans each root in the given order. Throws IndexError::cannotOpen
    /// for the first that cannot be opened; the remaining ones are then not scanned.
    void scan(std::span<const std::string> roots, int threads);

    struct RefreshOptions {
        bool recursive = false; ///< re-read every folder below the given ones too
        int threads = 1;
    };

    /// `refresh(dirs:recursive:threads:)`: re-reads folders given by path.
    RefreshStats refresh(std::span<const std::string> dirs, RefreshOptions options);

    [[nodiscard]] bool isScanning() const { return isScanning_.load(std::memory_order_acquire); }

    /// Sum over the scans so far.
    [[nodiscard]] fidx_stats stats() const;
    [[nodiscard]] double scanSeconds() const;

    // --- Entries (no bounds check beyond the columns) --------------------------------------------

    [[nodiscard]] const fidx& base() const { return *base_; }

    [[nodiscard]] std::uint32_t count() const { return fidx_count(base_); }

    [[nodiscard]] std::uint32_t liveCount() const;

    [[nodiscard]] bool overflowed() const { return fidx_overflowed(base_); }

    /// Bytes of the filled part of the columns: 2 × heap + 27 × count + 4.
    [[nodiscard]] std::uint64_t arrayBytes() const;

    /// Raw bytes of the name; the view lives as long as the catalogue.
    [[nodiscard]] std::string_view name(EntryId id) const {
        return {base_->names + base_->name_off[id],
                base_->name_off[id + 1] - base_->name_off[id] - 1};
    }

    /// The folded name without its filler.
    [[nodiscard]] std::string_view foldedName(EntryId id) const;

    [[nodiscard]] std::uint8_t flags(EntryId id) const {
        return std::atomic_ref(base_->flags[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint64_t size(EntryId id) const {
        return std::atomic_ref(base_->size[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint32_t mtime(EntryId id) const {
        return std::atomic_ref(base_->mtime[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint32_t ctime(EntryId id) const {
        return std::atomic_ref(base_->ctime[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::optional<EntryId> parent(EntryId id) const {
        const EntryId up = base_->parent[id];
        return up == noParent ? std::nullopt : std::optional(up);
    }

    [[nodiscard]] std::uint16_t extID(EntryId id) const { return base_->ext[id]; }

    /// The entry's extension (folded), absent for none.
    [[nodiscard]] std::optional<std::string_view> ext(EntryId id) const;
    [[nodiscard]] std::string_view extName(std::uint16_t extId) const;

    /// Ids of the given extensions, folded first; unknown ones are left out, the order is kept.
    [[nodiscard]] std::vector<std::uint16_t> extIDs(std::span<const std::string> exts) const;

    /// Full path in raw bytes.
    [[nodiscard]] std::string path(EntryId id) const;

    /// `directories(upTo:)`: ids of all folders below `upTo`, ascending, deleted ones included.
    [[nodiscard]] std::vector<EntryId> directories(std::uint32_t upTo) const;

    /// A prefix of the folder cache; the owner keeps it alive and unchanged.
    struct FolderIds {
        std::span<const EntryId> ids;
        std::shared_ptr<const std::vector<EntryId>> owner;
    };

    /// The same without a copy, for use on every search.
    [[nodiscard]] FolderIds folderIds(std::uint32_t upTo) const;

    [[nodiscard]] std::vector<EntryId> roots() const;

    // --- Changing -------------------------------------------------------------------------------

    /// Marks a live entry deleted and counts it; a deleted one is left alone. Does not descend.
    void markDeleted(EntryId id);

    /// Raised by every change; a search result is valid for one value of it.
    [[nodiscard]] std::int64_t mutations() const;
    [[nodiscard]] bool hasUnsavedChanges() const;

    // --- Audio ----------------------------------------------------------------------------------

    [[nodiscard]] AudioTable& audio() { return *audio_; }

    [[nodiscard]] const AudioTable& audio() const { return *audio_; }

    /// Raised whenever the audio table has new rows.
    [[nodiscard]] std::int64_t audioVersion() const { return audio_->version(); }

    // --- Orders ---------------------------------------------------------------------------------

    /// `comparator(_:)`: strict "less" over two ids of this catalogue, ties by the lower id.
    [[nodiscard]] std::function<bool(EntryId, EntryId)> comparator(SortKey key) const;

    /// `less(_:_:_:key:)`: an entry of this catalogue against one of another, without tie-break;
    /// name and path both compare the folded names.
    [[nodiscard]] bool less(EntryId a, const VolumeIndex& other, EntryId b, SortKey key) const;

    /// The usable order, or nothing; never builds. Nothing is usable during a scan.
    [[nodiscard]] std::optional<Perm> cachedPermutation(SortKey key) const;
    [[nodiscard]] std::optional<PermEntry> usablePerm(SortKey key) const;

    /// The usable order, built now if there is none (seconds for tens of millions of entries).
    Perm permutation(SortKey key);
    std::pair<Perm, std::uint32_t> permutationAndCount(SortKey key);
    std::pair<Perm, std::uint32_t> rebuildPermutation(SortKey key);

    /// Keys, in case order, whose order exists but is no longer usable.
    [[nodiscard]] std::vector<SortKey> staleKeys() const;

    /// `markMoved(_:_:)`: these entries' values for the key changed. Costs a copy of one bit an
    /// entry when a search has looked at the order since the last call: report many ids at once.
    void markMoved(SortKey key, std::span<const EntryId> ids);

    /// The ids as a bitset of count div 64 + 1 words; every id must be below count().
    [[nodiscard]] BitWords hitBitset(std::span<const EntryId> ids) const;

    struct OrderOptions {
        bool descending = false;
        std::size_t limit = std::numeric_limits<std::size_t>::max(); ///< rows wanted
        std::size_t directSortLimit = 300'000; ///< up to this many hits need no kept order
    };

    /// `ordered(by:descending:limit:directSortLimit:)`: the first `limit` hits in key order. Equal
    /// keys stand in ascending id order in both directions; path descending is the exact reverse.
    /// Uses a usable kept order, else sorts the hits themselves; never builds an order.
    [[nodiscard]] std::vector<EntryId>
    ordered(const HitSet& hits, SortKey key, OrderOptions options) const;

    /// Memory of kept orders, ranks and their bitsets, bytes.
    [[nodiscard]] std::uint64_t orderBytes() const;

    // --- Folding --------------------------------------------------------------------------------

    /// The folding of names and query text (text/Fold.h).
    [[nodiscard]] static std::string fold(std::string_view text);

  private:
    struct FolderCache {
        std::uint32_t examined{};                  ///< ids looked at so far
        std::shared_ptr<std::vector<EntryId>> ids; ///< appended to in place while capacity lasts
    };

    VolumeIndex(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes);

    /// Raises mutations_. Every change to the catalogue ends with it.
    void noteChange() QDX_EXCLUDES(lock_);

    fidx* base_; ///< owned
    std::vector<std::string> excludes_;
    std::vector<std::string> includeExts_;
    std::uint64_t storeID_;
    std::atomic<bool> isScanning_{false};
    std::unique_ptr<AudioTable> audio_;

    Mutex saveLock_; ///< serialises snapshot writing
    mutable Mutex lock_;
    std::int64_t mutations_ QDX_GUARDED_BY(lock_) = 0;
    std::int64_t savedMutations_ QDX_GUARDED_BY(lock_) = 0;
    std::int64_t deletedCount_ QDX_GUARDED_BY(lock_) = 0;
    mutable FolderCache dirCache_ QDX_GUARDED_BY(lock_);
    mutable KeptOrders orders_ QDX_GUARDED_BY(lock_);
    fidx_stats stats_ QDX_GUARDED_BY(lock_){};
    double scanSeconds_ QDX_GUARDED_BY(lock_) = 0;
};

} // namespace quarrydex
