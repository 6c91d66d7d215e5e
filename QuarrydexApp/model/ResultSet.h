/// The hits of one search, in display order.
///
/// Threads: immutable once published, so any thread may hold and read one; what `vols` point at
/// belongs to the main thread, what `indexes` point at to nobody.
#pragma once

#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/EntryId.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarrydex {

struct ResultSet {
    std::uint64_t generation{}; ///< of the search it answers; 0 before the first
    std::vector<std::shared_ptr<VolumeState>> vols; ///< by position in a row's high half

    /// The catalogues that the rows' entries are entries of, as vols. A volume may have got another
    /// one since, to which the same numbers mean something else.
    std::vector<std::shared_ptr<VolumeIndex>> indexes;
    std::vector<Row> rows;
    std::size_t total{}; ///< number of hits, however many rows are held
    /// False for the first screen of a long result: `rows` is then the head of what follows.
    bool complete = true;
    std::vector<std::uint32_t> hitVolumes; ///< positions of volumes with at least one hit, rising
    std::vector<std::string> terms;        ///< the query's plain name terms, for highlighting
    bool resetScroll = false;              ///< the table scrolls to the top when it shows this set
    double searchMs{};                     ///< from the start of the search to these rows

    /// Takes these volumes with the catalogues that they have now.
    void setVolumes(const std::vector<std::shared_ptr<VolumeState>>& volumes) {
        vols = volumes;
        indexes.clear();
        for (const auto& volume : volumes)
            indexes.push_back(volume->index);
    }
};

} // namespace quarrydex
