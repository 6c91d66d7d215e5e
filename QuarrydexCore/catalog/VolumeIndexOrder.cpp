#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/NameOrder.h"
#include "QuarrydexCore/catalog/OrderedHits.h"
#include "QuarrydexCore/catalog/TreeOrder.h"
#include "QuarrydexCore/catalog/ValueOrder.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quarrydex {

namespace {

/// The ids that stand in every order: all below `count` but for the roots, ascending.
std::vector<EntryId> withoutRoots(const VolumeIndex& index, std::uint32_t count) {
    std::vector<EntryId> ids(count);
    std::size_t n = 0;
    for (EntryId id = 0; id < count; ++id) {
        ids[n] = id;
        n += (index.flags(id) & EntryFlags::root) == 0 ? 1 : 0;
    }
    ids.resize(n);
    return ids;
}

PermEntry build(const VolumeIndex& index, SortKey key, std::uint32_t count) {
    const unsigned threads = processorCount();
    PermEntry entry;
    entry.covers = count;
    if (key == SortKey::path) {
        entry.perm = Perm(treeOrder(index.base(), count, threads));
        return entry;
    }
    std::vector<EntryId> ids = withoutRoots(index, count);
    EqualRows equal(ids.size());
    if (key == SortKey::name)
        sortByName(NameChunks(index.base(), count), ids, &equal, threads);
    else
        sortByValue(index.base(), key, false, ids, &equal, threads);
    entry.perm = Perm(std::move(ids));
    entry.equalToPrevious = std::make_shared<const BitWords>(equal.take());
    return entry;
}

/// The row of every entry below `count`, noRank for roots.
std::shared_ptr<const std::vector<std::uint32_t>> ranksOf(const Perm& perm, std::uint32_t count) {
    constexpr std::size_t rowsPerTask = 1 << 18;
    auto rank = std::make_shared<std::vector<std::uint32_t>>(count, noRank);
    const std::span<const EntryId> ids = perm.ids();
    parallelFor(ids.size() / rowsPerTask + 1, processorCount(), [&](std::size_t task) {
        const std::size_t end = std::min(ids.size(), (task + 1) * rowsPerTask);
        for (std::size_t row = task * rowsPerTask; row < end; ++row)
            if (ids[row] < count) // always, but for rows of a mapped order that were lost
                (*rank)[ids[row]] = static_cast<std::uint32_t>(row);
    });
    return rank;
}

} // namespace

// --- Comparing ----------------------------------------------------------------------------------

std::function<bool(EntryId, EntryId)> VolumeIndex::comparator(SortKey key) const {
    return [this, key](EntryId a, EntryId b) { return entryLess(*base_, key, a, b); };
}

bool VolumeIndex::less(EntryId a, const VolumeIndex& other, EntryId b, SortKey key) const {
    switch (key) {
    case SortKey::name:
    case SortKey::path:
        return std::strcmp(base_->folded + base_->name_off[a],
                           other.base_->folded + other.base_->name_off[b]) < 0;
    case SortKey::size:
    case SortKey::date:
    case SortKey::created:
        break;
    }
    return valueOf(*base_, key, a) < valueOf(*other.base_, key, b);
}

// --- Kept orders --------------------------------------------------------------------------------

std::optional<PermEntry> VolumeIndex::usablePerm(SortKey key) const {
    if (isScanning())
        return std::nullopt;
    MutexLock held(lock_);
    return orders_.usable(key, count(), KeptOrders::Trust::verified);
}

std::optional<Perm> VolumeIndex::cachedPermutation(SortKey key) const {
    std::optional<PermEntry> entry = usablePerm(key);
    return entry ? std::optional(std::move(entry->perm)) : std::nullopt;
}

Perm VolumeIndex::permutation(SortKey key) {
    return permutationAndCount(key).first;
}

std::pair<Perm, std::uint32_t> VolumeIndex::permutationAndCount(SortKey key) {
    if (std::optional<PermEntry> entry = usablePerm(key))
        return {std::move(entry->perm), entry->covers};
    return rebuildPermutation(key);
}

std::pair<Perm, std::uint32_t> VolumeIndex::rebuildPermutation(SortKey key) {
    if (checkOrder(key) == Check::sound)
        if (std::optional<PermEntry> entry = usablePerm(key))
            return {std::move(entry->perm), entry->covers};
    std::uint32_t covers = 0;
    {
        MutexLock held(lock_);
        orders_.beginBuild(key);
        covers = count();
    }
    PermEntry entry = build(*this, key, covers);
    Perm perm = entry.perm;
    {
        MutexLock held(lock_);
        orders_.install(key, std::move(entry));
    }
    if (key == SortKey::name)
        addRanks(perm, covers);
    return {std::move(perm), covers};
}

void VolumeIndex::addRanks(const Perm& names, std::uint32_t covers) const {
    auto ranks = ranksOf(names, covers);
    MutexLock held(lock_);
    orders_.setRanks(names, std::move(ranks));
}

std::vector<SortKey> VolumeIndex::staleKeys() const {
    const bool nothingIsUsable = isScanning();
    MutexLock held(lock_);
    return orders_.stale(nothingIsUsable ? std::nullopt : std::optional(count()));
}

void VolumeIndex::markMoved(SortKey key, std::span<const EntryId> ids) {
    MutexLock held(lock_);
    orders_.markMoved(key, ids);
}

std::uint64_t VolumeIndex::orderBytes() const {
    MutexLock held(lock_);
    return orders_.bytes();
}

// --- Ordering hits ------------------------------------------------------------------------------

BitWords VolumeIndex::hitBitset(std::span<const EntryId> ids) const {
    BitWords bits(bitWords(count()));
    for (EntryId id : ids)
        setBit(bits, id);
    return bits;
}

std::vector<EntryId>
VolumeIndex::ordered(const HitSet& hits, SortKey key, OrderOptions options) const {
    std::optional<PermEntry> kept;
    if (!isScanning()) {
        MutexLock held(lock_);
        kept = orders_.usable(key, count(), KeptOrders::Trust::any);
    }
    return orderedHits(*base_, hits,
                       {key, options.descending, options.limit, options.directSortLimit},
                       kept ? &*kept : nullptr);
}

} // namespace quarrydex
