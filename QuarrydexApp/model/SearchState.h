/// What is searched for, and how the hits are to be shown. A plain value.
#pragma once

#include "QuarrydexCore/catalog/SortKey.h"
#include "QuarrydexCore/query/Query.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

namespace quarrydex {

struct SearchState {
    static constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

    std::string query{};          ///< as typed
    std::optional<Term> filter{}; ///< every hit also satisfies this
    bool browseAll = false;       ///< a query without terms shows everything instead of nothing
    SortKey sortKey = SortKey::name;
    bool sortDesc = false;
    bool showJunk = false;
    std::size_t limit = noLimit; ///< rows wanted; all hits are counted nevertheless
};

} // namespace quarrydex
