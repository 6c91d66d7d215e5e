#include "QuarrydexCore/catalog/KeptOrders.h"

#include <utility>

namespace quarrydex {

bool KeptOrders::isUsable(const PermEntry& entry, std::uint32_t count) {
    const std::uint64_t added = count > entry.covers ? count - entry.covers : 0;
    const std::uint64_t stale = added + entry.movedCount;
    return stale <= (count < largeCatalogue ? staleLimitSmall : count / staleDivisorLarge);
}

std::optional<PermEntry> KeptOrders::usable(SortKey key, std::uint32_t count) {
    std::optional<Kept>& kept = perms_[indexOf(key)];
    if (!kept || !isUsable(kept->entry, count))
        return std::nullopt;
    kept->movedIsShared = kept->moved != nullptr;
    return kept->entry;
}

std::vector<SortKey> KeptOrders::stale(std::optional<std::uint32_t> count) const {
    std::vector<SortKey> keys;
    for (SortKey key : allSortKeys) {
        const std::optional<Kept>& kept = perms_[indexOf(key)];
        if (kept && !(count && isUsable(kept->entry, *count)))
            keys.push_back(key);
    }
    return keys;
}

void KeptOrders::beginBuild(SortKey key) {
    if (building_[indexOf(key)]++ == 0)
        pendingMoved_[indexOf(key)].clear();
}

void KeptOrders::install(SortKey key, PermEntry entry) {
    const std::size_t slot = indexOf(key);
    Kept kept{std::move(entry), nullptr, false};
    mark(kept, pendingMoved_[slot]);
    perms_[slot] = std::move(kept);
    // A second build of the same key began after the first: it needs what was kept for both.
    if (--building_[slot] == 0)
        pendingMoved_[slot] = {};
}

void KeptOrders::setRanks(const Perm& perm,
                          std::shared_ptr<const std::vector<std::uint32_t>> rank) {
    std::optional<Kept>& kept = perms_[indexOf(SortKey::name)];
    if (kept && kept->entry.perm.ids().data() == perm.ids().data())
        kept->entry.rank = std::move(rank);
}

void KeptOrders::markMoved(SortKey key, std::span<const EntryId> ids) {
    const std::size_t slot = indexOf(key);
    if (building_[slot] > 0)
        pendingMoved_[slot].insert(pendingMoved_[slot].end(), ids.begin(), ids.end());
    if (perms_[slot])
        mark(*perms_[slot], ids);
}

void KeptOrders::mark(Kept& kept, std::span<const EntryId> ids) {
    if (ids.empty())
        return;
    PermEntry& entry = kept.entry;
    if (!kept.moved)
        kept.moved = std::make_shared<BitWords>(bitWords(entry.covers));
    else if (kept.movedIsShared)
        kept.moved = std::make_shared<BitWords>(*kept.moved);
    kept.movedIsShared = false;
    for (EntryId id : ids) {
        if (id >= entry.covers || testBit(*kept.moved, id))
            continue;
        setBit(*kept.moved, id);
        ++entry.movedCount;
    }
    entry.moved = kept.moved;
}

std::uint64_t KeptOrders::bytes() const {
    std::uint64_t total = 0;
    for (const std::optional<Kept>& kept : perms_) {
        if (!kept)
            continue;
        total += kept->entry.perm.count() * sizeof(EntryId);
        if (kept->moved)
            total += kept->moved->size() * sizeof(std::uint64_t);
        if (kept->entry.equalToPrevious)
            total += kept->entry.equalToPrevious->size() * sizeof(std::uint64_t);
        if (kept->entry.rank)
            total += kept->entry.rank->size() * sizeof(std::uint32_t);
    }
    return total;
}

} // namespace quarrydex
