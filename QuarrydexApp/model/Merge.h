/// Several volumes' ordered hits as one list of rows.
#pragma once

#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace quarrydex {

struct MergeOptions {
    bool desc = false;
    bool sorted = true; ///< each list is in key order
    /// Asked now and then; true ends the merge early, with rows that nobody wants any more.
    std::function<bool()> isStale{};
};

/// `merge(key:desc:sorted:)`: lists[v] holds ids of *indexes[v], which is v's position in the rows.
/// Equal keys keep the volumes' order in both directions. By path, and where there is nothing to
/// compare, the lists follow one another (by path descending in reverse order of the volumes): the
/// paths of two volumes never interleave.
/// Threads: any. Time: rows × lists.
[[nodiscard]] std::vector<Row> merge(std::span<const std::shared_ptr<VolumeIndex>> indexes,
                                     std::span<const std::vector<EntryId>> lists,
                                     SortKey key,
                                     const MergeOptions& options);

} // namespace quarrydex
