#include "QuarrydexApp/model/Merge.h"

#include <algorithm>
#include <cstdint>

namespace quarrydex {

namespace {

constexpr std::size_t rowsBetweenStaleChecks = 65'536;

/// The ids of one volume that are still to be placed.
struct VolumeCursor {
    std::uint32_t volume;
    const VolumeIndex* index;
    std::span<const EntryId> rest;
};

std::vector<Row> concatenate(std::span<const VolumeCursor> cursors, std::size_t total) {
    std::vector<Row> rows;
    rows.reserve(total);
    for (const VolumeCursor& cursor : cursors)
        for (EntryId id : cursor.rest)
            rows.push_back(makeRow(cursor.volume, id));
    return rows;
}

/// The cursor whose head comes first; of equal heads the earliest.
std::vector<VolumeCursor>::iterator
first(std::vector<VolumeCursor>& cursors, SortKey key, bool desc) {
    auto best = cursors.begin();
    for (auto it = std::next(best); it != cursors.end(); ++it) {
        const EntryId head = it->rest.front();
        const EntryId bestHead = best->rest.front();
        if (desc ? best->index->less(bestHead, *it->index, head, key)
                 : it->index->less(head, *best->index, bestHead, key))
            best = it;
    }
    return best;
}

} // namespace

std::vector<Row> merge(std::span<const std::shared_ptr<VolumeIndex>> indexes,
                       std::span<const std::vector<EntryId>> lists,
                       SortKey key,
                       const MergeOptions& options) {
    std::vector<VolumeCursor> cursors;
    std::size_t total = 0;
    for (std::size_t v = 0; v < lists.size(); ++v) {
        if (!lists[v].empty())
            cursors.push_back({static_cast<std::uint32_t>(v), indexes[v].get(), lists[v]});
        total += lists[v].size();
    }
    if (options.sorted && key == SortKey::path && options.desc)
        std::ranges::reverse(cursors);
    if (cursors.size() < 2 || !options.sorted || key == SortKey::path)
        return concatenate(cursors, total);

    std::vector<Row> rows;
    rows.reserve(total);
    while (!cursors.empty()) {
        const auto next = first(cursors, key, options.desc);
        rows.push_back(makeRow(next->volume, next->rest.front()));
        next->rest = next->rest.subspan(1);
        if (next->rest.empty())
            cursors.erase(next);
        if (options.isStale && rows.size() % rowsBetweenStaleChecks == 0 && options.isStale())
            break;
    }
    return rows;
}

} // namespace quarrydex
