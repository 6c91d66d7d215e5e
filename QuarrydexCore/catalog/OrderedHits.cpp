#include "QuarrydexCore/catalog/OrderedHits.h"

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/HitRows.h"
#include "QuarrydexCore/catalog/MergeFew.h"
#include "QuarrydexCore/catalog/NameOrder.h"
#include "QuarrydexCore/catalog/TreeOrder.h"
#include "QuarrydexCore/catalog/ValueOrder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

namespace quarrydex {

namespace {

// What a hit costs on each way, in rows of a walk (measured on ten million entries).
constexpr std::size_t rankCost = 8;
constexpr std::size_t pickCost = 4;
constexpr std::size_t selectCost = 6;
constexpr std::size_t valueSortCost = 16;
constexpr std::size_t nameSortCost = 64;
constexpr std::size_t treeSortCost = 64;

/// Uncovered hits are merged in by binary searches, each worth some sorting.
constexpr std::size_t mergeShare = 16;

/// The first rows are picked by rank where they are a small part of the hits.
constexpr std::size_t pickShare = 8;

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

int compareNames(const fidx& store, EntryId a, EntryId b) {
    return std::strcmp(store.folded + store.name_off[a], store.folded + store.name_off[b]);
}

/// True when `a` stands before `b` in the wanted direction.
bool standsBefore(const fidx& store, SortKey key, bool descending, EntryId a, EntryId b) {
    switch (key) {
    case SortKey::path:
        return descending ? treeLess(store, b, a) : treeLess(store, a, b);
    case SortKey::name: {
        const int order = compareNames(store, a, b);
        return order != 0 ? (order < 0) != descending : a < b;
    }
    case SortKey::size:
    case SortKey::date:
    case SortKey::created:
        break;
    }
    const std::uint64_t valueA = valueOf(store, key, a);
    const std::uint64_t valueB = valueOf(store, key, b);
    return valueA != valueB ? (valueA < valueB) != descending : a < b;
}

bool hasEqualKeys(const fidx& store, SortKey key, EntryId a, EntryId b) {
    if (key == SortKey::path)
        return a == b;
    if (key == SortKey::name)
        return compareNames(store, a, b) == 0;
    return valueOf(store, key, a) == valueOf(store, key, b);
}

/// Turns a name order around, keeping equal names in ascending id order.
void reverseRuns(std::vector<EntryId>& ids, const EqualRows& equal) {
    std::reverse(ids.begin(), ids.end());
    const std::size_t n = ids.size();
    for (std::size_t begin = 0; begin < n;) {
        std::size_t end = begin + 1;
        while (end < n && testBit(equal.words(), n - end)) // the row now at `end` − 1
            ++end;
        std::reverse(ids.begin() + begin, ids.begin() + end);
        begin = end;
    }
}

class Ordering {
  public:
    Ordering(const fidx& store, const HitSet& hits, const HitOrder& wanted, const PermEntry* kept)
        : store_(store), count_(fidx_count(&store)), hits_(hits), wanted_(wanted), kept_(kept),
          limit_(std::min(wanted.limit, hits.count)), threads_(processorCount()) {}

    std::vector<EntryId> run();

  private:
    [[nodiscard]] std::vector<EntryId> idsOf(std::span<const std::uint64_t> bits) const;
    [[nodiscard]] bool isRoot(EntryId id) const;
    [[nodiscard]] std::size_t directCost(std::size_t hits) const;
    [[nodiscard]] std::vector<EntryId> sorted(std::vector<EntryId> ids) const;
    std::vector<EntryId> sortedByName(std::vector<EntryId> ids) const;

    void splitCovered();
    std::optional<std::vector<EntryId>> coveredInOrder();
    [[nodiscard]] std::optional<std::vector<EntryId>> walkUnverified(std::size_t budget) const;

    const fidx& store_;
    const std::uint32_t count_;
    const HitSet& hits_;
    const HitOrder& wanted_;
    const PermEntry* kept_;
    const std::size_t limit_;
    const unsigned threads_;

    std::span<const std::uint64_t> covered_; ///< a bit for every id that kept_ covers
    BitWords coveredBits_;                   ///< what covered_ views, unless that is hits_ itself
    std::vector<EntryId> others_;            ///< the other hits, ascending ids
};

std::vector<EntryId> Ordering::run() {
    if (limit_ == 0)
        return {};
    if (kept_ != nullptr)
        splitCovered();
    if (kept_ == nullptr || std::min(others_.size(), limit_) > hits_.count / mergeShare + 1)
        return sorted(idsOf(hits_.bits));
    std::optional<std::vector<EntryId>> covered = coveredInOrder();
    if (!covered)
        return sorted(idsOf(hits_.bits));
    if (others_.empty())
        return *std::move(covered);
    const std::vector<EntryId> others = sorted(others_);
    return mergeFew<EntryId>(*covered, others, limit_, [&](EntryId a, EntryId b) {
        return standsBefore(store_, wanted_.key, wanted_.descending, a, b);
    });
}

/// The ids in ascending order but for roots.
std::vector<EntryId> Ordering::idsOf(std::span<const std::uint64_t> bits) const {
    std::vector<EntryId> ids;
    ids.reserve(hits_.count);
    forEachBit(bits, [&](std::size_t bit) {
        if (const auto id = static_cast<EntryId>(bit); !isRoot(id))
            ids.push_back(id);
    });
    return ids;
}

bool Ordering::isRoot(EntryId id) const {
    const auto flags = std::atomic_ref(store_.flags[id]).load(std::memory_order_relaxed);
    return (flags & EntryFlags::root) != 0;
}

// --- Direct sort --------------------------------------------------------------------------------

std::size_t Ordering::directCost(std::size_t hits) const {
    switch (wanted_.key) {
    case SortKey::name:
        return hits * nameSortCost;
    case SortKey::path:
        return hits * treeSortCost;
    case SortKey::size:
    case SortKey::date:
    case SortKey::created:
        break;
    }
    return hits * (limit_ < hits / 8 ? selectCost : valueSortCost);
}

std::vector<EntryId> Ordering::sorted(std::vector<EntryId> ids) const {
    const std::size_t limit = std::min(limit_, ids.size());
    switch (wanted_.key) {
    case SortKey::name:
        ids = sortedByName(std::move(ids));
        break;
    case SortKey::path:
        ids = treeOrderOf(store_, count_, ids, threads_);
        if (wanted_.descending)
            std::reverse(ids.begin(), ids.end());
        break;
    case SortKey::size:
    case SortKey::date:
    case SortKey::created:
        if (limit < ids.size() / 8)
            selectByValue(store_, wanted_.key, wanted_.descending, ids, limit);
        else
            sortByValue(store_, wanted_.key, wanted_.descending, ids, nullptr, threads_);
        break;
    }
    ids.resize(limit);
    return ids;
}

std::vector<EntryId> Ordering::sortedByName(std::vector<EntryId> ids) const {
    const NameChunks names(store_, count_);
    const std::size_t limit = std::min(limit_, ids.size());
    if (!wanted_.descending) {
        sortByName(names, ids, nullptr, threads_, {0, limit});
        return ids;
    }
    EqualRows equal(ids.size());
    sortByName(names, ids, &equal, threads_, {ids.size() - limit, ids.size()});
    reverseRuns(ids, equal);
    return ids;
}

// --- By a kept order ----------------------------------------------------------------------------

void Ordering::splitCovered() {
    const std::uint32_t covers = kept_->covers;
    const std::size_t words = bitWords(covers);
    if (kept_->movedCount == 0 && hits_.bits.size() >= words) {
        covered_ = hits_.bits;
    } else {
        coveredBits_.assign(hits_.bits.begin(), hits_.bits.end());
        coveredBits_.resize(std::max(words, coveredBits_.size()));
        covered_ = coveredBits_;
    }
    if (kept_->movedCount > 0) {
        BitWords moved(words);
        for (std::size_t w = 0; w < words; ++w) {
            moved[w] = coveredBits_[w] & (*kept_->moved)[w];
            coveredBits_[w] ^= moved[w];
        }
        others_ = idsOf(moved);
    }
    for (std::size_t id = covers; id < hits_.entries; ++id) {
        if (id % 64 == 0 && hits_.bits[id / 64] == 0)
            id += 63;
        else if (testBit(hits_.bits, id) && !isRoot(static_cast<EntryId>(id)))
            others_.push_back(static_cast<EntryId>(id));
    }
}

/// The first limit_ of the covered hits, or nothing when sorting all hits is cheaper.
std::optional<std::vector<EntryId>> Ordering::coveredInOrder() {
    const std::size_t rows = kept_->perm.count();
    const bool hasRanks = kept_->rank != nullptr;
    const bool isLimited = limit_ < hits_.count;
    std::size_t otherCost = unlimited;
    if (hasRanks)
        otherCost = hits_.count * rankCost;
    else if (hits_.count <= wanted_.directSortLimit)
        otherCost = directCost(hits_.count);
    const bool otherIsCheap = otherCost < (isLimited ? rows / 2 : rows);
    if (!kept_->isVerified) {
        if (!isLimited && otherIsCheap)
            return std::nullopt;
        return walkUnverified(otherIsCheap ? otherCost : unlimited);
    }
    if (!isLimited && otherIsCheap && !hasRanks)
        return std::nullopt;

    HitRows inRows(*kept_, covered_);
    std::vector<EntryId> ids;
    if (isLimited) {
        // Evenly spread hits fill the first rows after a short walk. Where they do not, little is
        // lost against going the other way at once.
        const bool mayPick = hasRanks && limit_ < hits_.count / pickShare;
        const std::size_t walkedCost = otherIsCheap ? otherCost : unlimited;
        const std::size_t budget = mayPick ? hits_.count * pickCost : walkedCost;
        if (inRows.first(limit_, wanted_.descending, budget, threads_, ids))
            return ids;
        if (mayPick)
            return inRows.firstByRank(limit_, wanted_.descending, threads_);
        if (!hasRanks)
            return std::nullopt;
    }
    if (otherIsCheap)
        inRows.fillFromRanks();
    if (!isLimited)
        return inRows.all(hits_.count, wanted_.descending, threads_);
    static_cast<void>(inRows.first(limit_, wanted_.descending, unlimited, threads_, ids));
    return ids;
}

/// The same from an order that nobody has checked: row by row, each id bounded. Which rows are
/// equal is not known either. Descending, each hit is therefore compared with the one before, runs
/// of equal keys are turned around, and the walk ends only where a run does.
std::optional<std::vector<EntryId>> Ordering::walkUnverified(std::size_t budget) const {
    const std::span<const EntryId> rows = kept_->perm.ids();
    std::vector<EntryId> ids;
    std::size_t run = 0; // first of the equal hits that end `ids`
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (i == budget)
            return std::nullopt;
        const EntryId id = rows[wanted_.descending ? rows.size() - 1 - i : i];
        if (id >= kept_->covers || !testBit(covered_, id))
            continue;
        const bool goesOn =
            wanted_.descending && !ids.empty() && hasEqualKeys(store_, wanted_.key, ids.back(), id);
        if (!goesOn) {
            std::reverse(ids.begin() + run, ids.end());
            run = ids.size();
            if (run >= limit_)
                break;
        }
        ids.push_back(id);
    }
    std::reverse(ids.begin() + run, ids.end());
    ids.resize(std::min(ids.size(), limit_));
    return ids;
}

} // namespace

std::vector<EntryId>
orderedHits(const fidx& store, const HitSet& hits, const HitOrder& wanted, const PermEntry* kept) {
    return Ordering(store, hits, wanted, kept).run();
}

bool entryLess(const fidx& store, SortKey key, EntryId a, EntryId b) {
    return standsBefore(store, key, false, a, b);
}

} // namespace quarrydex
