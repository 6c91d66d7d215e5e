/// Which entries have a row, as the words of a bitset that are not 0, so that the bits of rows turn
/// into bits of entries a word at a time.
///
///   entries    [ 3 | 5 | 64 | 640 ]
///   place      [ 0    | 1 | 10 ]       the word of the bitset
///   bits       [ 3, 5 | 0 | 0  ]       which of its bits are set
///
/// A plain value of 12 bytes a word; files of one folder have neighbouring ids, so words are few.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quarrydex {

struct EntryWords {
    std::vector<std::uint32_t> place; ///< ascending
    std::vector<std::uint64_t> bits;  ///< as long as `place`; never 0

    EntryWords() = default;

    /// Of ascending ids.
    explicit EntryWords(std::span<const std::uint32_t> entries) {
        for (const std::uint32_t entry : entries) {
            if (place.empty() || place.back() != entry / 64) {
                place.push_back(entry / 64);
                bits.push_back(0);
            }
            bits.back() |= std::uint64_t{1} << (entry % 64);
        }
    }
};

} // namespace quarrydex
