/// Order of entries by size, modification or creation time, equal values by ascending id.
///
/// A value may change while it is sorted by. Each is therefore read once, into the sort's own
/// array; whoever changes it reports it to VolumeIndex::markMoved.
///
/// Threads: functions use up to the given number. Memory: 16 bytes an entry while sorting.
#pragma once

#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/catalog/EqualRows.h"
#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/store/fidx.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quarrydex {

/// The value by which `key` orders. REQUIRES: key is size, date or created.
[[nodiscard]] inline std::uint64_t valueOf(const fidx& store, SortKey key, EntryId id) {
    const auto load = [id](auto* column) {
        return std::uint64_t{std::atomic_ref(column[id]).load(std::memory_order_relaxed)};
    };
    if (key == SortKey::size)
        return load(store.size);
    return load(key == SortKey::date ? store.mtime : store.ctime);
}

/// Sorts `ids`, given in ascending order, by value; descending puts larger values first and still
/// keeps equal ones in ascending id order. Marks equal values in `equal` (may be null).
void sortByValue(const fidx& store,
                 SortKey key,
                 bool descending,
                 std::span<EntryId> ids,
                 EqualRows* equal,
                 unsigned threads);

/// Puts the first `limit` of that order to the front of `ids`, in order. Costs one look at each.
void selectByValue(
    const fidx& store, SortKey key, bool descending, std::span<EntryId> ids, std::size_t limit);

} // namespace quarrydex
