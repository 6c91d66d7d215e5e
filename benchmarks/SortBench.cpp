/// Building the kept orders, and putting hits in order by them and without them.
///
/// The measure of ordering is one pass over a kept order that tests each row's hit bit, split over
/// as many threads as ordering may use. Names are built by one thread against one thread.

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/NameOrder.h"
#include "QuarrydexCore/catalog/OrderedHits.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace quarrydex::bench {

namespace {

constexpr std::size_t rounds = 9;

std::vector<EntryId> allButRoots(const VolumeIndex& index) {
    std::vector<EntryId> ids;
    for (EntryId id = 0; id < index.count(); ++id)
        if ((index.flags(id) & EntryFlags::root) == 0)
            ids.push_back(id);
    return ids;
}

HitSet hitSet(const VolumeIndex& index, std::span<const EntryId> ids) {
    HitSet hits;
    hits.bits = index.hitBitset(ids);
    hits.entries = index.count();
    hits.count = ids.size();
    return hits;
}

/// `wanted` entries drawn evenly from all.
HitSet spreadHits(const VolumeIndex& index, std::size_t wanted) {
    std::vector<EntryId> all = allButRoots(index);
    std::vector<EntryId> ids;
    std::sample(all.begin(), all.end(), std::back_inserter(ids), wanted, std::mt19937(11));
    return hitSet(index, ids);
}

/// The entries of the last `wanted` rows of a kept order.
HitSet lastHits(VolumeIndex& index, SortKey key, std::size_t wanted) {
    const Perm perm = index.permutation(key);
    return hitSet(index, perm.ids().last(wanted));
}

/// One pass over the order, testing each row's hit bit.
std::size_t pass(const Perm& perm, const HitSet& hits) {
    const unsigned threads = processorCount();
    const std::span<const EntryId> ids = perm.ids();
    std::atomic<std::size_t> total{0};
    parallelFor(threads, threads, [&](std::size_t part) {
        std::size_t found = 0;
        for (std::size_t i = ids.size() * part / threads, end = ids.size() * (part + 1) / threads;
             i < end; ++i)
            found += (hits.bits[ids[i] / 64] >> (ids[i] % 64)) & 1;
        total += found;
    });
    return total;
}

struct Step {
    std::string name;
    SortKey key;
    VolumeIndex::OrderOptions options;
    double goal;
};

void orderStep(Report& report, VolumeIndex& index, const HitSet& hits, const Step& step) {
    const Perm perm = index.permutation(step.key);
    const auto [ours, anchor] = alternate(
        rounds, [&] { keep(index.ordered(hits, step.key, step.options)); },
        [&] { keep(pass(perm, hits)); });
    report.row({.step = std::string(rawValue(step.key)) + ": " + step.name,
                .ours = ours.wallMs,
                .anchor = anchor.wallMs,
                .anchorName = "one pass testing hit bits",
                .goal = step.goal});
}

QDX_BENCH(orders) {
    const std::shared_ptr<VolumeIndex> index = syntheticCatalog(report.entries());
    const std::vector<EntryId> all = allButRoots(*index);

    report.progress("std::stable_sort by name");
    const fidx& base = index->base();
    const auto stable = timeOnce([&] {
        std::vector<EntryId> ids = all;
        std::stable_sort(ids.begin(), ids.end(), [&](EntryId a, EntryId b) {
            return std::strcmp(base.folded + base.name_off[a], base.folded + base.name_off[b]) < 0;
        });
        keep(ids);
    });
    const NameChunks names(base, index->count());
    const auto byName = medianOf(3, [&] {
        std::vector<EntryId> ids = all;
        EqualRows equal(ids.size());
        sortByName(names, ids, &equal, 1);
        keep(ids);
    });
    report.row({.step = "name order, one thread",
                .ours = byName.wallMs,
                .anchor = stable.wallMs,
                .anchorName = "std::stable_sort",
                .goal = 0.2});

    const auto buildName = medianOf(3, [&] { keep(index->rebuildPermutation(SortKey::name)); });
    double others = 0;
    for (SortKey key : {SortKey::path, SortKey::size, SortKey::date, SortKey::created}) {
        const auto build = medianOf(3, [&] { keep(index->rebuildPermutation(key)); });
        report.row({.step = std::string(rawValue(key)) + " order",
                    .ours = build.wallMs,
                    .anchor = buildName.wallMs,
                    .anchorName = "name order with ranks"});
        others += build.wallMs;
    }
    report.row({.step = "the four other orders",
                .ours = others,
                .anchor = buildName.wallMs,
                .anchorName = "name order with ranks",
                .goal = 1.5});

    const auto entries = static_cast<double>(index->count());
    const double folders = static_cast<double>(index->folderIds(index->count()).ids.size());
    report.row({.step = "memory with five orders",
                .ours = (static_cast<double>(index->arrayBytes() + index->orderBytes()) +
                         folders * sizeof(EntryId)) /
                        entries,
                .anchor = 92,
                .anchorName = "limit at 19-byte names",
                .goal = 1,
                .unit = Unit::bytesPerEntry});
}

QDX_BENCH(orders) {
    const std::shared_ptr<VolumeIndex> index = syntheticCatalog(report.entries());
    for (SortKey key : allSortKeys)
        static_cast<void>(index->permutation(key));

    const HitSet some = spreadHits(*index, report.entries() * 3 / 100);
    const HitSet half = spreadHits(*index, report.entries() / 2);
    const HitSet few =
        spreadHits(*index, std::max<std::size_t>(30'000, report.entries() * 3 / 1000));
    for (SortKey key : allSortKeys) {
        orderStep(report, *index, some, {"3 % of the entries", key, {}, 1});
        orderStep(report, *index, some, {"3 %, descending", key, {.descending = true}, 1});
        orderStep(report, *index, half, {"half of the entries", key, {}, 3});
        orderStep(report, *index, half, {"half, descending", key, {.descending = true}, 3});
        orderStep(report, *index, few, {"first 200, hits spread", key, {.limit = 200}, 0.05});
        orderStep(
            report, *index, few,
            {"first 200, hits spread, descending", key, {.descending = true, .limit = 200}, 0.05});
        for (const std::size_t wanted : {few.count, some.count, half.count})
            orderStep(report, *index, lastHits(*index, key, wanted),
                      {"first 200, " + std::to_string(wanted) + " hits at the far end",
                       key,
                       {.limit = 200},
                       1});
    }
}

QDX_BENCH(orders) {
    const std::shared_ptr<VolumeIndex> index = syntheticCatalog(report.entries());
    const HitSet hits = spreadHits(*index, report.entries() * 3 / 100);
    for (SortKey key : allSortKeys) {
        const auto less = index->comparator(key);
        const HitOrder wanted{key, false, hits.count, hits.count};
        const auto [ours, anchor] = alternate(
            3, [&] { keep(orderedHits(index->base(), hits, wanted, nullptr)); },
            [&] {
                std::vector<EntryId> ids = hits.ids();
                std::sort(ids.begin(), ids.end(), less);
                keep(ids);
            });
        report.row({.step = std::string(rawValue(key)) + ": 3 % without a kept order",
                    .ours = ours.wallMs,
                    .anchor = anchor.wallMs,
                    .anchorName = "std::sort"});
    }
}

} // namespace

} // namespace quarrydex::bench
