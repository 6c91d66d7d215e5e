/// Puts the hits of a search in key order, by the cheapest of several ways that give the same rows:
///
///   from ranks      name order with its ranks: each hit sets the bit of its row, one look a hit
///   walk            a kept order is walked from the wanted end, one look a row
///   direct sort     the hits themselves are sorted; the way when no kept order is usable
///
/// Hits that a kept order does not cover, being newer or moved, are sorted by themselves and merged
/// in, equal keys by id. Root entries among the hits are left out.
///
/// Threads: any; uses all processors. Fails: never. While values change the rows are those of some
/// moment in between; the change itself makes the caller search again.
#pragma once

#include "QuarrydexCore/base/HitSet.h"
#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/store/fidx.h"

#include <cstddef>
#include <vector>

namespace quarrydex {

struct HitOrder {
    SortKey key{};
    bool descending{};
    std::size_t limit{}; ///< rows wanted
    /// More hits are not sorted directly while `kept` serves, unless many of them are uncovered.
    std::size_t directSortLimit{};
};

/// `kept` is the key's usable order, null for none; the rank of a name order may be missing.
[[nodiscard]] std::vector<EntryId>
orderedHits(const fidx& store, const HitSet& hits, const HitOrder& wanted, const PermEntry* kept);

/// Strict "less" of two entries of a catalogue, ties by the lower id.
[[nodiscard]] bool entryLess(const fidx& store, SortKey key, EntryId a, EntryId b);

} // namespace quarrydex
