#include "QuarrydexApp/model/GlobalOrder.h"

#include "QuarrydexApp/model/Merge.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/HitRows.h"
#include "QuarrydexCore/catalog/KeptOrders.h"
#include "QuarrydexCore/catalog/MergeFew.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

/// The other way compares names for every row it gives, which costs as much as a walk's look at
/// this many rows (measured on two and on ten million entries). First screens are below that: there
/// each volume's own walk ends as early.
constexpr std::size_t mergeCost = 128;

/// For a walk that may take as long as it needs.
constexpr std::size_t wholeOrder = std::numeric_limits<std::size_t>::max();

/// Newer hits are merged in by binary searches, each worth some merging.
constexpr std::size_t newerShare = 16;

bool isStale(const GlobalOrder::IsStale& ask) {
    return ask && ask();
}

/// The hits in a catalogue that are not below k, or nothing when there are none.
std::optional<HitSet> hitsFrom(const HitSet& hits, std::uint32_t k) {
    if (hits.entries <= k)
        return std::nullopt;
    const std::size_t first = k / 64;
    const std::uint64_t firstWord = hits.bits[first] & ~std::uint64_t{0} << (k % 64);
    const auto later = std::span(hits.bits).subspan(first + 1);
    const std::size_t count = countBits(std::span(&firstWord, 1)) + countBits(later);
    if (count == 0)
        return std::nullopt;
    HitSet newer{BitWords(hits.bits.size()), hits.entries, count};
    newer.bits[first] = firstWord;
    std::ranges::copy(later, newer.bits.begin() + static_cast<std::ptrdiff_t>(first) + 1);
    return newer;
}

/// Hits that are newer than an order, by volume.
struct NewerHits {
    std::vector<std::optional<HitSet>> per;
    std::size_t count = 0;

    NewerHits(std::span<const HitSet* const> hits, std::span<const std::uint32_t> ks)
        : per(hits.size()) {
        for (std::size_t v = 0; v < hits.size(); ++v) {
            per[v] = hits[v] != nullptr ? hitsFrom(*hits[v], ks[v]) : std::nullopt;
            count += per[v] ? per[v]->count : 0;
        }
    }

    [[nodiscard]] std::vector<Row> inOrder(GlobalOrder::Indexes indexes,
                                           const GlobalOrder::MergeOptions& options) const {
        std::vector<std::vector<EntryId>> lists(per.size());
        for (std::size_t v = 0; v < per.size(); ++v)
            if (per[v])
                lists[v] = indexes[v]->ordered(
                    *per[v], SortKey::name, {.descending = options.desc, .limit = options.limit});
        return merge(indexes, lists, SortKey::name, {.desc = options.desc});
    }
};

} // namespace

GlobalOrder::GlobalOrder(std::vector<Volume> volumes, RowNumbers numbers, PermEntry order)
    : volumes_(std::move(volumes)), numbers_(std::move(numbers)), order_(std::move(order)) {}

// --- What it orders -----------------------------------------------------------------------------

bool GlobalOrder::isUsable(Indexes indexes) const {
    return std::ranges::equal(volumes_, indexes, [](const Volume& volume, const auto& index) {
        return volume.isOf(index) && volume.storeID == index->storeID();
    });
}

bool GlobalOrder::isOutgrown(Indexes indexes) const {
    std::uint64_t entries = 0;
    std::uint64_t covered = 0;
    for (std::size_t v = 0; v < volumes_.size(); ++v) {
        entries += indexes[v]->count();
        covered += volumes_[v].k;
    }
    const std::uint64_t limit = entries < KeptOrders::largeCatalogue
                                    ? KeptOrders::staleLimitSmall
                                    : entries / KeptOrders::staleDivisorLarge;
    return entries - covered > limit;
}

std::vector<std::uint64_t> GlobalOrder::storeIDs() const {
    std::vector<std::uint64_t> ids;
    for (const Volume& volume : volumes_)
        ids.push_back(volume.storeID);
    return ids;
}

std::vector<std::uint32_t> GlobalOrder::ks() const {
    std::vector<std::uint32_t> ks;
    for (const Volume& volume : volumes_)
        ks.push_back(volume.k);
    return ks;
}

// --- Results ------------------------------------------------------------------------------------

/// The volumes' hits as one bitset over numbers. Bits that are no entry's number mean nothing.
BitWords GlobalOrder::joined(std::span<const HitSet* const> per) const {
    BitWords bits(numbers_.end() / 64);
    for (std::size_t v = 0; v < per.size(); ++v) {
        if (per[v] == nullptr)
            continue;
        const std::span<const std::uint64_t> hits = per[v]->bits;
        const std::size_t words = (std::size_t{volumes_[v].k} + 63) / 64;
        std::ranges::copy(hits.first(std::min(hits.size(), words)),
                          bits.begin() + numbers_.first(v) / 64);
    }
    return bits;
}

/// The numbers of the covered hits in order, no fewer of them than are wanted, or nothing when the
/// walk is not worth its length. `hits` is the number of hits at most.
std::optional<std::vector<std::uint32_t>> GlobalOrder::coveredHits(
    std::span<const HitSet* const> per, std::size_t hits, const MergeOptions& options) const {
    const std::size_t wanted = std::min(hits, options.limit);
    if (wanted < count() / mergeCost)
        return std::nullopt;
    const BitWords bits = joined(per);
    const HitRows rows(order_, bits);
    if (wanted > hits / processorCount())
        return rows.all(hits, options.desc, processorCount());
    std::vector<std::uint32_t> numbers;
    static_cast<void>(rows.first(wanted, options.desc, wholeOrder, processorCount(), numbers));
    return numbers;
}

std::vector<Row> GlobalOrder::rowsOf(std::span<const std::uint32_t> numbers) const {
    constexpr std::size_t rowsPerTask = 1 << 16;
    std::vector<Row> rows(numbers.size());
    parallelFor(rows.size() / rowsPerTask + 1, processorCount(), [&](std::size_t task) {
        const std::size_t end = std::min(rows.size(), (task + 1) * rowsPerTask);
        for (std::size_t i = task * rowsPerTask; i < end; ++i)
            rows[i] = numbers_.row(numbers[i]);
    });
    return rows;
}

std::optional<std::vector<Row>> GlobalOrder::mergeGlobal(std::span<const HitSet* const> per,
                                                         Indexes indexes,
                                                         const MergeOptions& options) const {
    std::size_t hits = 0;
    for (const HitSet* set : per)
        hits += set != nullptr ? set->count : 0;
    const NewerHits newer(per, ks());
    if (newer.count > hits / newerShare)
        return std::nullopt;
    const auto numbers = coveredHits(per, hits, options);
    if (!numbers)
        return std::nullopt;
    if (isStale(options.isStale))
        return std::vector<Row>();
    const std::size_t wanted = std::min(numbers->size(), options.limit);
    std::vector<Row> rows = rowsOf(std::span(*numbers).first(wanted));
    if (newer.count == 0)
        return rows;

    const auto before = [&](Row a, Row b) {
        const VolumeIndex& indexA = *indexes[rowVolume(a)];
        const VolumeIndex& indexB = *indexes[rowVolume(b)];
        if (indexA.less(rowEntry(a), indexB, rowEntry(b), SortKey::name))
            return !options.desc;
        if (indexB.less(rowEntry(b), indexA, rowEntry(a), SortKey::name))
            return options.desc;
        return a < b;
    };
    return mergeFew<Row>(rows, newer.inOrder(indexes, options), options.limit, before);
}

} // namespace quarrydex
