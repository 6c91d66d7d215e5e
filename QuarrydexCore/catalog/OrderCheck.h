/// Looks at a sort order that came from a file: is it one, and which of its rows have equal keys.
///
/// Threads: uses all processors; searches and refreshes may run beside it. Values that change
/// meanwhile can make a sound order look broken: the caller knows whether any did.
/// Fails: never, whatever the order and the columns hold.
#pragma once

#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/store/fidx.h"

#include <optional>

namespace quarrydex {

/// The order with equalToPrevious filled in, or nothing when its rows are not each covered entry
/// but the roots, once, in the order of the key as far as they have not moved.
[[nodiscard]] std::optional<PermEntry>
checkedOrder(const fidx& store, SortKey key, const PermEntry& loaded);

} // namespace quarrydex
