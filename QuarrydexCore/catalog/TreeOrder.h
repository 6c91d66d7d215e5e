/// Tree order: a folder before everything below it, siblings by folded name, equal names by
/// ascending id. The trees of several roots stand in the order of the roots' names.
///
/// No path is ever compared with another. Children are grouped by folder and each group is sorted
/// by name; a subtree takes as many rows as it has entries, so one walk from the roots down gives
/// every entry its row.
///
/// A parent whose id is not below its child's (a damaged catalogue) counts as none.
/// Threads: functions use up to the given number. Memory: 16 bytes an entry of the trees.
#pragma once

#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/store/fidx.h"

#include <cstdint>
#include <span>
#include <vector>

namespace quarrydex {

/// The entries below `count` but for the roots, in tree order.
[[nodiscard]] std::vector<EntryId>
treeOrder(const fidx& store, std::uint32_t count, unsigned threads);

/// The given entries (ascending ids, below `count`) in tree order. Looks at them and their
/// ancestors only.
[[nodiscard]] std::vector<EntryId>
treeOrderOf(const fidx& store, std::uint32_t count, std::span<const EntryId> ids, unsigned threads);

/// True when `a` stands before `b`. Climbs from both to where their ways meet.
[[nodiscard]] bool treeLess(const fidx& store, EntryId a, EntryId b);

} // namespace quarrydex
