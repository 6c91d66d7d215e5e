/// What a re-read of changed folders did.
#pragma once

#include <cstdint>

namespace quarrydex {

struct RefreshStats {
    std::uint64_t listed{};  ///< folders whose listing was read and matched
    std::uint64_t added{};   ///< names appended, those inside new folders included
    std::uint64_t removed{}; ///< entries marked deleted, descendants included
    std::uint64_t updated{}; ///< entries whose size or times changed
    bool fullRescan{};       ///< the catalogue must be rebuilt by a scan
    bool rootMissing{};      ///< the root itself is gone

    [[nodiscard]] bool changedAnything() const {
        return added != 0 || removed != 0 || updated != 0;
    }
};

} // namespace quarrydex
