/// The name order of two volumes together: making it, reading it, and taking rows from it, against
/// ordering each volume's hits and merging the lists.

#include "QuarrydexApp/model/GlobalOrder.h"
#include "QuarrydexApp/model/Merge.h"
#include "QuarrydexCore/base/EntryFlags.h"

#include "benchmarks/support/Bench.h"
#include "benchmarks/support/SyntheticCatalog.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace quarrydex::bench {

namespace {

constexpr std::size_t rounds = 9;

using Volumes = std::array<std::shared_ptr<VolumeIndex>, 2>;

/// Two catalogues of half of the entries each, with their name orders.
const Volumes& volumes(const Report& report) {
    static const Volumes made = [&] {
        const std::size_t half = report.entries() / 2;
        Volumes out = {syntheticCatalog(half), syntheticCatalog(half + 1'000)};
        for (const auto& index : out)
            static_cast<void>(index->permutation(SortKey::name));
        return out;
    }();
    return made;
}

/// One live entry in so many of each volume.
std::array<HitSet, 2> everyNth(const Volumes& indexes, std::uint32_t step) {
    std::array<HitSet, 2> out;
    for (std::size_t v = 0; v < indexes.size(); ++v) {
        std::vector<EntryId> ids;
        for (EntryId id = 1; id < indexes[v]->count(); id += step)
            if ((indexes[v]->flags(id) & EntryFlags::deleted) == 0)
                ids.push_back(id);
        out[v] = {indexes[v]->hitBitset(ids), indexes[v]->count(), ids.size()};
    }
    return out;
}

std::vector<quarrydex::Row> merged(const Volumes& indexes,
                                   const std::array<HitSet, 2>& hits,
                                   const GlobalOrder::MergeOptions& options) {
    std::array<std::vector<EntryId>, 2> lists;
    for (std::size_t v = 0; v < indexes.size(); ++v)
        lists[v] = indexes[v]->ordered(hits[v], SortKey::name,
                                       {.descending = options.desc, .limit = options.limit});
    std::vector<quarrydex::Row> rows = merge(indexes, lists, SortKey::name, {.desc = options.desc});
    rows.resize(std::min(rows.size(), options.limit));
    return rows;
}

struct Step {
    const char* name;
    std::uint32_t oneIn; ///< a hit is one entry in so many
    GlobalOrder::MergeOptions options;
    double goal;
};

void resultStep(Report& report, const GlobalOrder& order, const Step& step) {
    const Volumes& indexes = volumes(report);
    const auto hits = everyNth(indexes, step.oneIn);
    const std::array<const HitSet*, 2> per = {&hits[0], &hits[1]};
    const auto [ours, anchor] = alternate(
        rounds, [&] { keep(order.mergeGlobal(per, indexes, step.options)); },
        [&] { keep(merged(indexes, hits, step.options)); });
    report.row({.step = step.name,
                .ours = ours.wallMs,
                .anchor = anchor.wallMs,
                .anchorName = "each volume's order, merged",
                .goal = step.goal});
}

QDX_BENCH(merge) {
    const Volumes& indexes = volumes(report);
    std::shared_ptr<const GlobalOrder> order;
    const auto build = medianOf(3, [&] { order = GlobalOrder::build(indexes); });
    const auto all = everyNth(indexes, 1);
    const auto mergeAll = medianOf(3, [&] { keep(merged(indexes, all, {})); });
    report.row({.step = "building the order",
                .ours = build.wallMs,
                .anchor = mergeAll.wallMs,
                .anchorName = "each volume's order, merged",
                .goal = 1});

    const std::string path = std::filesystem::temp_directory_path() /
                             ("quarrydex-bench-" + std::to_string(::getpid()) + ".ord");
    const auto save = timeOnce([&] { keep(order->persisted().writeCache(path)); });
    report.row({.step = "writing its file", .ours = save.wallMs});
    const auto load = medianOf(5, [&] { keep(GlobalOrder::load(path, indexes)); });
    report.row({.step = "reading and checking its file",
                .ours = load.wallMs,
                .anchor = build.wallMs,
                .anchorName = "building it",
                .goal = 0.5});
    std::filesystem::remove(path);

    const Step steps[] = {
        {"all rows", 1, {}, 0.25},
        {"half of the rows", 2, {}, 0.25},
        {"half of the rows, descending", 2, {.desc = true}, 0.25},
        {"3 % of the rows", 33, {}, 1},
        {"1 % of the rows", 100, {}, 1},
        {"first 2 % of half", 2, {.limit = report.entries() / 50}, 1},
        {"first 2 % of half, descending", 2, {.desc = true, .limit = report.entries() / 50}, 1},
    };
    for (const Step& step : steps)
        resultStep(report, *order, step);
}

} // namespace

} // namespace quarrydex::bench
