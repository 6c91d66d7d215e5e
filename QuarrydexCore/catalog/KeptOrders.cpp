#include "QuarrydexCore/catalog/KeptOrders.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

bool KeptOrders::isUsable(const PermEntry& entry, std::uint32_t count) {
    const std::uint64_t added = count > entry.covers ? count - entry.covers : 0;
    const std::uint64_t stale = added + entry.movedCount;
    return stale <= (count < largeCatalogue ? staleLimitSmall : count / staleDivisorLarge);
}

std::optional<PermEntry> KeptOrders::usable(SortKey key, std::uint32_t count, Trust trust) {
    std::optional<Kept>& kept = perms_[indexOf(key)];
    if (!kept || !isUsable(kept->entry, count) ||
        (trust == Trust::verified && !kept->entry.isVerified))
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

// --- Orders from a file -------------------------------------------------------------------------

void KeptOrders::adopt(SortKey key, PermEntry entry, BitWords moved) {
    Kept kept{std::move(entry), nullptr, false};
    if (!moved.empty()) {
        moved.resize(bitWords(kept.entry.covers));
        kept.moved = std::make_shared<BitWords>(std::move(moved));
        kept.entry.moved = kept.moved;
        kept.entry.movedCount = countBits(*kept.moved);
    }
    perms_[indexOf(key)] = std::move(kept);
}

std::optional<PermEntry> KeptOrders::beginCheck(SortKey key) {
    std::optional<Kept>& kept = perms_[indexOf(key)];
    if (!kept || kept->entry.isVerified)
        return std::nullopt;
    beginBuild(key);
    kept->movedIsShared = kept->moved != nullptr;
    return kept->entry;
}

bool KeptOrders::endCheck(SortKey key, const PermEntry* completed) {
    const std::size_t slot = indexOf(key);
    const bool isQuiet = pendingMoved_[slot].empty();
    if (--building_[slot] == 0)
        pendingMoved_[slot] = {};
    if (completed == nullptr || !isQuiet)
        return isQuiet;
    if (Kept* kept = find(key, completed->perm)) {
        kept->entry.equalToPrevious = completed->equalToPrevious;
        kept->entry.isVerified = true;
    }
    return true;
}

void KeptOrders::drop(SortKey key, const Perm& perm) {
    if (find(key, perm) != nullptr)
        perms_[indexOf(key)].reset();
}

void KeptOrders::replacePerm(SortKey key, const Perm& before, Perm now) {
    if (Kept* kept = find(key, before))
        kept->entry.perm = std::move(now);
}

bool KeptOrders::isDamaged() const {
    return std::any_of(perms_.begin(), perms_.end(), [](const std::optional<Kept>& kept) {
        return kept && kept->entry.perm.isDamaged();
    });
}

// --- Ranks and moves ----------------------------------------------------------------------------

/// The key's order if it still is this one.
KeptOrders::Kept* KeptOrders::find(SortKey key, const Perm& perm) {
    std::optional<Kept>& kept = perms_[indexOf(key)];
    return kept && kept->entry.perm.ids().data() == perm.ids().data() ? &*kept : nullptr;
}

void KeptOrders::setRanks(const Perm& perm,
                          std::shared_ptr<const std::vector<std::uint32_t>> rank) {
    if (Kept* kept = find(SortKey::name, perm))
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
