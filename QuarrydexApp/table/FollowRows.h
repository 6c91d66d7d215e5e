/// Finds the places of one result again in the next one: what was selected, where the cursor stood,
/// which row was at the top. Rows are told by catalogue and entry, wherever the volumes stand.
///
/// A row is selected afterwards exactly when it was selected before: one that is gone drops out of
/// the selection, a new one never enters it, however many there are.
///
/// Threads: any; no state. Cost: one pass over the rows of the next result and one bit for every
/// entry of its catalogues. Fails: never.
#pragma once

#include "QuarrydexApp/table/RowSelection.h"
#include "QuarrydexApp/table/ShownResults.h"

#include <cstddef>
#include <optional>
#include <span>

namespace quarrydex {

struct Places {
    RowSelection selected{};
    std::optional<std::size_t> current{}; ///< the row that the keyboard is at
    std::optional<std::size_t> anchor{};  ///< where a range that is being extended begins
    std::size_t top = 0;                  ///< the topmost visible row

    bool operator==(const Places&) const = default;
};

/// What both sides of a pass look at: may be taken to another thread, while someone keeps the
/// results alive.
struct RowsOf {
    std::span<const Row> rows;
    ShownResults::Indexes indexes;

    explicit RowsOf(const ShownResults& results)
        : rows(results.rows().first(results.count())), indexes(results.indexes()) {}
};

/// Where a row that is gone was the current or the topmost one, the next one below that is still
/// there takes its place (without becoming selected).
[[nodiscard]] Places follow(const RowsOf& from, const RowsOf& to, const Places& places);

/// The same, where few rows are to be found and none has moved far: at the cost of a part of the
/// rows. Nothing when a row is not where it would have to be.
[[nodiscard]] std::optional<Places>
followNear(const RowsOf& from, const RowsOf& to, const Places& places);

} // namespace quarrydex
