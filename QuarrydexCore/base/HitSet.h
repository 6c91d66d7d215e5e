/// The result of a search in one catalogue, kept as a bitset for as long as possible: a hit costs
/// one bit, two results are OR-ed word by word, and ids are made only for the rows that are shown.
#pragma once

#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/EntryId.h"

namespace quarrydex {

struct HitSet {
    BitWords bits;         ///< bit id set = entry id is a hit; bitWords(entries) words
    std::size_t entries{}; ///< the search looked at ids 0 … entries − 1
    std::size_t count{};   ///< number of bits set

    [[nodiscard]] bool has(EntryId id) const { return id < entries && testBit(bits, id); }

    /// The hits in ascending id order.
    [[nodiscard]] std::vector<EntryId> ids() const {
        std::vector<EntryId> out;
        out.reserve(count);
        forEachBit(bits, [&](std::size_t id) { out.push_back(static_cast<EntryId>(id)); });
        return out;
    }
};

} // namespace quarrydex
