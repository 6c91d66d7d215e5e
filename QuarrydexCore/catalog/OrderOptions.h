/// How much of a search's hits is put in order, and which way round.
#pragma once

#include <cstddef>
#include <limits>

namespace quarrydex {

struct OrderOptions {
    bool descending = false;
    std::size_t limit = std::numeric_limits<std::size_t>::max(); ///< rows wanted
    std::size_t directSortLimit = 300'000; ///< up to this many hits need no kept order
};

} // namespace quarrydex
