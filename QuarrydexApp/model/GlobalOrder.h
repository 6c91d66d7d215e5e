/// The name order of all volumes together. With it the commonest view, everything by name, takes no
/// merge: the order's rows are walked from the wanted end, and a row is a result if its hit bit is
/// set.
///
/// Names never change in place (a rename is a deletion and an addition), so the order stays right
/// while files come and go: what was deleted drops out by its hit bit, and hits that are newer than
/// the order are sorted by themselves and merged in. It ends when a volume's catalogue is replaced.
///
/// The rows are those of merge() (Merge.h) one by one: equal names stand by volume, then by id, in
/// both directions.
///
/// Threads: immutable; any thread, for as long as it keeps its pointer. Building, loading and long
/// walks use all processors. Memory: 4 bytes and 1 bit an entry.
/// Failure: build and load give null; a file that is not sound counts as absent.
#pragma once

#include "QuarrydexApp/model/RowNumbers.h"
#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/base/HitSet.h"
#include "QuarrydexCore/catalog/CacheFile.h"
#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quarrydex {

class GlobalOrder {
  public:
    /// Catalogues by their position in rows.
    using Indexes = std::span<const std::shared_ptr<VolumeIndex>>;
    /// Asked now and then, from any thread; true ends the work early.
    using IsStale = std::function<bool()>;

    // --- Life -----------------------------------------------------------------------------------

    /// `GlobalOrder.build`: the order of what the volumes hold now; makes their name orders where
    /// they have none. Null when isStale() ended it, when a mapped name order was lost meanwhile,
    /// and for more than 2^32 entries. Seconds for tens of millions of entries.
    [[nodiscard]] static std::shared_ptr<const GlobalOrder> build(Indexes indexes,
                                                                  const IsStale& isStale = {});

    /// `persisted`: the order as an ".ord" file (docs/formats/ord.md), to be written with
    /// writeCache.
    [[nodiscard]] CacheFile persisted() const;

    /// The order from such a file, or null unless the file is sound and orders the very names that
    /// these volumes hold. Reads the file and the folded names once: for the background.
    [[nodiscard]] static std::shared_ptr<const GlobalOrder>
    load(const std::string& path, Indexes indexes, const IsStale& isStale = {});

    // --- What it orders -------------------------------------------------------------------------

    /// True for the catalogues it was built or loaded for, in the same positions.
    [[nodiscard]] bool isUsable(Indexes indexes) const;

    /// True when so many entries are newer that it should be built anew. REQUIRES: isUsable.
    [[nodiscard]] bool isOutgrown(Indexes indexes) const;

    [[nodiscard]] std::vector<std::uint64_t> storeIDs() const;

    /// Per volume, it orders the ids below this.
    [[nodiscard]] std::vector<std::uint32_t> ks() const;

    /// Number of rows: all entries below ks but the roots, deleted ones included.
    [[nodiscard]] std::size_t count() const { return order_.perm.count(); }

    [[nodiscard]] Row row(std::size_t i) const { return numbers_.row(order_.perm.ids()[i]); }

    // --- Results --------------------------------------------------------------------------------

    struct MergeOptions {
        bool desc = false;
        std::size_t limit = std::numeric_limits<std::size_t>::max(); ///< rows wanted
        IsStale isStale{}; ///< once true, rows may be missing: nobody wants them any more
    };

    /// `mergeGlobal(per:idx:desc:)`: the first `limit` hits in name order. per[v] are the hits in
    /// *indexes[v], null for none. Nothing where ordering each volume's hits and merging them is
    /// the faster way: for few rows, and where many hits are newer than the order.
    /// REQUIRES: isUsable(indexes).
    [[nodiscard]] std::optional<std::vector<Row>> mergeGlobal(std::span<const HitSet* const> per,
                                                              Indexes indexes,
                                                              const MergeOptions& options) const;

  private:
    struct Volume {
        std::weak_ptr<const VolumeIndex> index;
        std::uint64_t storeID{};
        std::uint32_t k{};
        std::uint64_t names{}; ///< checksum of the folded names below k

        /// True for the catalogue that `index` was. A catalogue read anew from an older file has
        /// the same store id, but may hold other names under the same ids.
        [[nodiscard]] bool isOf(const std::shared_ptr<VolumeIndex>& other) const {
            return !index.owner_before(other) && !other.owner_before(index);
        }
    };

    GlobalOrder(std::vector<Volume> volumes, RowNumbers numbers, PermEntry order);

    [[nodiscard]] static std::uint64_t namesChecksum(const VolumeIndex& index, std::uint32_t k);

    [[nodiscard]] std::optional<std::vector<std::uint32_t>> coveredHits(
        std::span<const HitSet* const> per, std::size_t hits, const MergeOptions& options) const;
    [[nodiscard]] BitWords joined(std::span<const HitSet* const> per) const;
    [[nodiscard]] std::vector<Row> rowsOf(std::span<const std::uint32_t> numbers) const;

    std::vector<Volume> volumes_;
    RowNumbers numbers_;
    PermEntry order_; ///< of numbers; without covers and ranks
};

} // namespace quarrydex
