/// The catalogue of one drive or chosen root: the entry store with its settings, its kept sort
/// orders and its audio table. The one object of this layer that the rest of the program holds.
///
/// Threads: any. Reading entries below count() takes no lock (see fidx.h). Settings are made before
/// the first scan. One thread at a time scans or refreshes (the catalogue's owner sees to that);
/// searches and orders may run beside it.
/// Locks: saveLock, roundLock, the store's append mutex, `lock`, in this order; `lock` is a leaf,
/// held for short sections only, never during a sort, a scan, a search or a save.
/// Failure: scan throws IndexError; allocation failure ends the process.
#pragma once

#include "QuarrydexCore/audio/AudioTable.h"
#include "QuarrydexCore/base/HitSet.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/catalog/Entries.h"
#include "QuarrydexCore/catalog/EntryChange.h"
#include "QuarrydexCore/catalog/FolderCache.h"
#include "QuarrydexCore/catalog/IndexError.h"
#include "QuarrydexCore/catalog/KeptOrders.h"
#include "QuarrydexCore/catalog/OrderOptions.h"
#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/RefreshOptions.h"
#include "QuarrydexCore/catalog/RefreshStats.h"
#include "QuarrydexCore/catalog/SnapshotInfo.h"
#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/store/fidx.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

struct LoadedCatalog;
struct fidx_info;

class VolumeIndex : public Entries {
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

    /// Ends a scan early, for a catalogue that is wanted no more.
    void cancelScan() { fidx_stop_scans(base_); }

    /// `refresh(dirs:recursive:threads:)`: re-reads folders given by path.
    RefreshStats refresh(std::span<const std::string> dirs, RefreshOptions options);

    /// `reconcileByFolderMtime(threads:)`: refreshes the folders whose time on disk differs from
    /// the catalogue's. `listed` counts those alone.
    RefreshStats reconcileByFolderMtime(ReconcileOptions options);

    [[nodiscard]] bool isScanning() const { return isScanning_.load(std::memory_order_acquire); }

    /// Sum over the scans so far.
    [[nodiscard]] fidx_stats stats() const;
    [[nodiscard]] double scanSeconds() const;

    // --- Entries, beside those of the base class ------------------------------------------------

    [[nodiscard]] std::uint32_t liveCount() const;

    /// `directories(upTo:)`: ids of all folders below `upTo`, ascending, deleted ones included.
    [[nodiscard]] std::vector<EntryId> directories(std::uint32_t upTo) const;

    /// The same without a copy, for use on every search.
    [[nodiscard]] FolderIds folderIds(std::uint32_t upTo) const;

    /// The folding of names and query text (text/Fold.h).
    [[nodiscard]] static std::string fold(std::string_view text);

    // --- Changing -------------------------------------------------------------------------------

    /// Marks live entries deleted and counts them; deleted ones are left alone. Does not descend.
    /// Waits for a save that is under way, as every change does: not for the main thread.
    void markDeleted(std::span<const EntryId> ids);

    void markDeleted(EntryId id) { markDeleted(std::span(&id, 1)); }

    /// Overwrites sizes and times and tells the orders whose key really changed.
    void change(std::span<const EntryChange> changes);

    /// Raised by every change; a search result is valid for one value of it.
    [[nodiscard]] std::int64_t mutations() const;
    [[nodiscard]] bool hasUnsavedChanges() const;

    // --- Files (docs/formats/idx.md) ------------------------------------------------------------

    /// `save(to:info:)`: writes the snapshot, with `deleted` and `storeID` filled in and the usable
    /// orders. Readers go on; changes wait, and a round of a refresh is waited for. Throws
    /// IndexError; the old file then stays as it was.
    void save(const std::string& path, const SnapshotInfo& info) QDX_EXCLUDES(saveLock_, lock_);

    /// `load(from:excludes:…)`: the catalogue of a snapshot (catalog/LoadedCatalog.h), or nothing
    /// where there is no whole one. What it holds is mapped, not looked at: see validate().
    [[nodiscard]] static std::optional<LoadedCatalog>
    load(const std::string& path,
         std::vector<std::string> excludes,
         std::uint32_t maxEntries = defaultMaxEntries,
         std::uint64_t maxNameBytes = defaultMaxNameBytes);

    /// `peek`: a snapshot's header alone.
    [[nodiscard]] static std::optional<SnapshotHeader> peek(const std::string& path);

    /// For the background after a load: reads all entries and all orders, which takes longer and
    /// readies these. False for what contradicts itself, to be discarded and scanned anew.
    [[nodiscard]] bool validate() const { return validateEntries() && validateOrders(); }

    [[nodiscard]] bool validateEntries() const;
    [[nodiscard]] bool validateOrders() const;
    /// True once a part of the mapped snapshot was lost: to be discarded too.
    [[nodiscard]] bool isDamaged() const;

    /// `audioPath(forSnapshot:)`: a final ".idx" replaced by ".aud", else ".aud" appended.
    [[nodiscard]] static std::string audioPath(const std::string& snapshotPath);

    /// `saveAudio(snapshotPath:)`, after the snapshot: the audio table beside it.
    [[nodiscard]] bool saveAudio(const std::string& snapshotPath);
    [[nodiscard]] bool hasUnsavedAudio() const;
    /// `loadAudio(snapshotPath:)`: replaces the audio table by the saved one, but for rows of
    /// entries that the snapshot lacks. Before anyone else has the catalogue.
    bool loadAudio(const std::string& snapshotPath);

    /// `forgetCatalog(snapshotPath:)`: removes both files; whether the snapshot was removed.
    static bool forgetCatalog(const std::string& snapshotPath);

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

    /// The usable order, or nothing; never builds. Nothing is usable during a scan, and an order
    /// from a file only once it was checked (ordered() may walk it before).
    [[nodiscard]] std::optional<Perm> cachedPermutation(SortKey key) const;
    [[nodiscard]] std::optional<PermEntry> usablePerm(SortKey key) const;

    /// The usable order, built now if there is none (seconds for tens of millions of entries).
    Perm permutation(SortKey key);
    std::pair<Perm, std::uint32_t> permutationAndCount(SortKey key);
    /// Builds the order anew. One that came from a file and was not checked is checked instead.
    std::pair<Perm, std::uint32_t> rebuildPermutation(SortKey key);

    /// Keys, in case order, whose order exists but is no longer usable.
    [[nodiscard]] std::vector<SortKey> staleKeys() const;

    /// `markMoved(_:_:)`: these entries' values for the key changed. Costs a copy of one bit an
    /// entry when a search has looked at the order since the last call: report many ids at once.
    void markMoved(SortKey key, std::span<const EntryId> ids);

    /// The ids as a bitset of count div 64 + 1 words; every id must be below count().
    [[nodiscard]] BitWords hitBitset(std::span<const EntryId> ids) const;

    using OrderOptions = quarrydex::OrderOptions;

    /// `ordered(by:descending:limit:directSortLimit:)`: the first `limit` hits in key order. Equal
    /// keys stand in ascending id order in both directions; path descending is the exact reverse.
    /// Uses a usable kept order, else sorts the hits themselves; never builds an order.
    [[nodiscard]] std::vector<EntryId>
    ordered(const HitSet& hits, SortKey key, OrderOptions options) const;

    /// Memory of kept orders, ranks and their bitsets, bytes.
    [[nodiscard]] std::uint64_t orderBytes() const;

  private:
    VolumeIndex(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes);

    /// Maps the orders of the snapshot, unchecked.
    void mapOrders(const std::string& path, const fidx_info& info);
    void moveOrders(const std::string& path,
                    const fidx_info& info,
                    std::span<const std::optional<PermEntry>> orders);

    enum class Check : std::uint8_t { none, sound, broken };

    /// Checks the key's order if it came from a file, and puts the completed one or none in its
    /// place. `none`: there is nothing to check, or values change too fast.
    Check checkOrder(SortKey key) const;
    void addRanks(const Perm& names, std::uint32_t covers) const;

    /// Raises mutations_.
    void noteChange() QDX_EXCLUDES(lock_);

    std::vector<std::string> excludes_;
    std::vector<std::string> includeExts_;
    std::uint64_t storeID_;
    std::atomic<bool> isScanning_{false};
    std::atomic<bool> isUnreadable_{false}; ///< a save found pages of the snapshot gone
    std::unique_ptr<AudioTable> audio_;
    std::atomic<std::int64_t> savedAudioVersion_{-1}; ///< of what the file holds

    Mutex saveLock_;  ///< serialises snapshot writing
    Mutex roundLock_; ///< held by each round of a refresh, which a save must not see half of
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
